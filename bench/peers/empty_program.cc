/// What the loader and the C++ library cost before any code of ours runs.
int main() {}
