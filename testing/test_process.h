// Former name of the shared test plumbing, kept for the tests that still include it.
#pragma once
#include "lx_testing.h"
