// Only there for the headers that are compiled with it.
int main() { }
