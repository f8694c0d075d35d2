#include "VXDesktop.h"

int main(int argc, char **argv)
{
    return VXDesktop::run(argc, argv);
}
