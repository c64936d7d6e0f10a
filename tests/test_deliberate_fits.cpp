// tests/test_deliberate_fits.cpp - solvers and fits: behaviour that looks like a mistake and is not.
