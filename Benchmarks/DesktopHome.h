#pragma once

#include <QtCore/QString>
#include <QtCore/QTemporaryDir>

#include <memory>

class VXMainWindow;

/**
 * A home folder with 100,000 contacts and 1,000,000 messages, in which this process has started its plugins, and a window over them.
 * Made when first asked for; it goes with the application object. Main thread.
 */
class DesktopHome
{
public:
    static constexpr int contactCount = 100'000;
    static constexpr int messageCount = 1'000'000;

    static DesktopHome &shared();
    ~DesktopHome();

    QString path() const { return _folder.path(); }
    /** Shown. */
    VXMainWindow &window();

private:
    DesktopHome();
    static void addContacts();
    static void addMessages();

    QTemporaryDir _folder;
    std::unique_ptr<VXMainWindow> _window;
};
