// The program whose precompiled header every test program reuses; it only has to build.
int main()
{
    return 0;
}
