// tests/checks/weak_symbol.cpp - an object with a weak symbol, which weak_symbols.py must find.

inline int one() { return 1; }
int (*const use_of_one)() = one;
int value_of_one() { return use_of_one(); }
