#include "VXHost.h"

int main(int argc, char **argv)
{
    return VXHost::run(argc, argv);
}
