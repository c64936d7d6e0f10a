// tests/test_constrained.cpp - least squares under bounds and linear inequalities, least distance.
