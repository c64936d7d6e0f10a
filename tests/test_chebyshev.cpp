// tests/test_chebyshev.cpp - least-squares polynomials.
