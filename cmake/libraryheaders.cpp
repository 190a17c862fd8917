// CMake precompiles headers only for a target that has a source file.
