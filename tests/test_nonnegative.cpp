// tests/test_nonnegative.cpp - non-negative least squares.
