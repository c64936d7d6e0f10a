// tests/test_command_fit.cpp - tabfit fit, evaluate and solve, through the real program.
