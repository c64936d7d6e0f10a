// tests/test_convex_spline.cpp - convex and concave least-squares splines.
