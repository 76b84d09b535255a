# Unit tests of the server layer: dms_unit_test(NAME) per test file.
