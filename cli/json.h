// JSON documents as commands print and read them. The library behind them is slow to compile, so
// only files that make or read a document include it; cli/context.h names the type.
#pragma once

#include <nlohmann/json.hpp>

#include "cli/context.h"
