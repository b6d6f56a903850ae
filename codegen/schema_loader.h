// Reads the TOML files of the schema. What can be said of a row by itself is checked here, the rest in checker.h.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "diagnostics.h"
#include "model.h"

namespace codegen {

/** Loads primitives.toml, catalogue.toml, trace.toml and the subjects. Errors are reported and what is bad left out. */
model load_schema(const std::filesystem::path &directory, diagnostics &errors);

}  // namespace codegen
