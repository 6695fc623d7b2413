// Only carries the precompiled GoogleTest headers that every test program reuses.
int main() {
    return 0;
}
