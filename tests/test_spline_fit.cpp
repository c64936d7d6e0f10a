// tests/test_spline_fit.cpp - the spline basis, least-squares splines, smoothing.
