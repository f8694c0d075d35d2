#pragma once

#include "VXServicesExport.h"

#include <QtCore/QObject>
#include <QtCore/QString>

#include <chrono>
#include <functional>
#include <memory>

/**
 * Answers the searches of desktops from the search index: org.gnome.Shell.SearchProvider2 and org.kde.krunner1 on the session
 * bus, for programs of the user's own. Main thread only.
 */
class VX_SERVICES_EXPORT VXSearchService : public QObject
{
    Q_OBJECT

public:
    /** `open` opens a URL that was chosen, and shows the application for a null one; idle() comes when nobody has asked for so long. */
    VXSearchService(std::function<void(const QString &url)> open, std::chrono::milliseconds idleTime);
    ~VXSearchService() override;

    /** Why nobody can ask; null when they can. */
    QString problem() const { return _problem; }

    static QString busName();    // "com.halvern.VNX2.Search"
    static QString objectPath(); // "/com/halvern/VNX2/Search"

Q_SIGNALS:
    /** Nobody asks any more, or the bus is gone: the program may end. The name is given back by then. */
    void idle();
    /** The index was damaged, and is gone: all is to be mirrored anew. */
    void indexWasDiscarded();
    /** The index is about to be asked: who waits for what it lacks may look whether it is up to date. Once a second at most. */
    void willAsk();

private Q_SLOTS:
    void end();

private:
    class Server;

    std::unique_ptr<Server> _server;
    QString _problem;
};
