#pragma once

#include "VXProgressWindow.h"
#include "VXSignalWatcher.h"

#include <QtCore/QByteArray>

#include <optional>

/**
 * Progress as one line with a bar that is redrawn, on a terminal; elsewhere nothing is drawn. Ctrl-C (SIGINT) is the
 * user's Cancel while it is shown. Private to the platform layer.
 */
class VXTerminalProgressWindow : public VXProgressWindow
{
public:
    /** The caller keeps the ownership of the descriptor. */
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
