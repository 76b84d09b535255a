# Unit tests of the content layer: dms_unit_test(NAME) per test file.
