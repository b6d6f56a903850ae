// Nothing but a source: CMake compiles headers ahead for a target that has one.
