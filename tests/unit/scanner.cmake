# Unit tests of the media scanner, the camera platform and registration.
