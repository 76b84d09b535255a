// placeholder: being written
int main() { return 0; }
