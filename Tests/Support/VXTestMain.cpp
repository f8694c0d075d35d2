#include "VXFolders.h"

#include <gtest/gtest.h>
#include <QtCore/QCoreApplication>
#include <QtCore/QTemporaryDir>

// In a file of its own, so that a test program that shows windows can have another.
int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    const QTemporaryDir home; // for what runs outside a VXHomeTest: never the user's own
    VXSetHomeFolder(home.path());
    const QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
