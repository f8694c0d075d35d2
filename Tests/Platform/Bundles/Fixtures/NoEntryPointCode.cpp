extern "C" [[gnu::visibility("default")]] int fixtureWithoutEntryPoint();

int fixtureWithoutEntryPoint()
{
    return 0;
}
