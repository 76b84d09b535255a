# Unit tests of the cds layer: dms_unit_test(NAME) per test file.
