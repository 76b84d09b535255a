#include <cstddef>
#include <cstdint>
int main() { return 0; }
