#include "VXFolders.h"
#include "VXFramework.h"
#include "VXInterface.h"

#include <gtest/gtest.h>
#include <QtCore/QTemporaryDir>
#include <QtWidgets/QApplication>

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
    const QTemporaryDir home; // for what runs outside a VXHomeTest: never the user's own
    VXSetHomeFolder(home.path());
    const QApplication application(argc, argv);
    VXInitializeFramework();
    VXInitializeInterfaceKit();
    return RUN_ALL_TESTS();
}
