// tests/test_allocations_fits.cpp - what solvers and fits take from the heap, keep and give back.
