#include <cstdio>
int main() { std::puts("tellurine-cli"); return 0; }
