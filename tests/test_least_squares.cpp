// tests/test_least_squares.cpp - linear least squares, in one pass and with residual correction.
