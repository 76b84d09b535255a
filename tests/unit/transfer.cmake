# Unit tests of the transfer layer and of the stack's HTTP side.
