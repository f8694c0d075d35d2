#pragma once

#include "VXProgressWindow.h"
#include "VXSignalWatcher.h"

#include <QtCore/QByteArray>

#include <optional>

/**
 * Progress as one line with a bar that is drawn over, on a terminal; nothing is drawn elsewhere. Ctrl-C
 * (SIGINT) is the user's Cancel while it is shown. Private to the platform layer.
 */
class VXTerminalProgressWindow : public VXProgressWindow
{
public:
    /** The descriptor stays the caller's. */
    explicit VXTerminalProgressWindow(int output);
    ~VXTerminalProgressWindow() override;

protected:
    void show() override;
    void update() override;
    void close(Result result) override;

private:
    QString line(int width) const;

    const int _output;
    const bool _isTerminal;
    QByteArray _drawn;
    std::optional<VXSignalWatcher> _interrupt;
};
