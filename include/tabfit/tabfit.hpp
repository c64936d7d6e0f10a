// tabfit/tabfit.hpp - the whole library for C++20 hosts: values, spans and exceptions over the C functions.
//
// A call checks its data first and leaves its arguments as they are. Results are values. No state is kept:
// calls on the same data may run in many threads.
#pragma once

#include "tabfit/active_set.hpp"
#include "tabfit/bounded.hpp"
#include "tabfit/constrained.hpp"
#include "tabfit/engine.hpp"
#include "tabfit/error.hpp"
#include "tabfit/infeasible.hpp"
#include "tabfit/least_distance.hpp"
#include "tabfit/least_squares.hpp"
#include "tabfit/matrix.hpp"
#include "tabfit/nonnegative.hpp"
#include "tabfit/orthogonal.hpp"
#include "tabfit/statistics.hpp"
#include "tabfit/table.hpp"
