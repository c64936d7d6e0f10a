// tests/support/twins.hpp - what a test of both twins needs: one body for both, one name for both.
#pragma once

#include "tests/support/twin_test.hpp"
#include "tools/twins.hpp"
