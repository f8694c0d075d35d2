#pragma once

#include "VXLineSplitter.h"

#include <QtCore/QFile>
#include <QtCore/QFileSystemWatcher>
#include <QtCore/QString>

#include <functional>
#include <memory>

/**
 * Reads a log file line by line, and follows it, also when the file is made, moved away for a new one (rotation) or
 * emptied. The kernel reports changes; nothing is polled. Main thread only.
 */
class VXLogTail
{
public:
    VXLogTail(const QString &path, VXLineSplitter::LineHandler handler);

    /** Reads what there is. A missing file has no lines. */
    void readAvailable();
    /** Passes on a last line without line feed. */
    void finish() { _lines.finish(); }
    /** From now on, reads whenever something changes, and then calls `afterReading`. */
    void follow(std::function<void()> afterReading);

private:
    void changed();
    void readLines();
    bool isReplaced() const;
    bool open();

    const QString _path;
    VXLineSplitter _lines;
    std::function<void()> _afterReading;
    std::unique_ptr<QFile> _file;
    std::unique_ptr<QFileSystemWatcher> _watcher;
};
