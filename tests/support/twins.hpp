// tests/support/twins.hpp - what a test of both twins needs: one body for both, one name for both.
#pragma once

#include "tabfit/engine.hpp"
#include "tests/support/twin_test.hpp"

using namespace tabfit::engine;
