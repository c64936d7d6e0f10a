// tests/test_deliberate_constrained.cpp - constrained solvers: behaviour that looks like a mistake and is not.
