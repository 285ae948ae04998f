#pragma once

#include "cli_support.hpp"

// A fresh directory for one test, removed with everything in it afterwards.
using TempDir = cli_testing::TempFolder;
