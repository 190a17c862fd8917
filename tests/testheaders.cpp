// CMake precompiles headers for the sources of a target, so it needs one.
int main() { }
