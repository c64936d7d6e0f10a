// tests/test_fit_kernels.cpp - basis functions and Chebyshev polynomials, one at a time and side by side.
