#include "VXCrashNote.h"

#include "VXFileManager.h"
#include "VXFolders.h"
#include "VXPluginMarker.h"
#include "VXPluginOnStack.h"
#include "VXSignalStack.h"

#include <QtCore/QFile>

#include <algorithm>
#include <array>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

std::array<char, 1200> notePath{}; // of what a folder may be, and the name
int noteFile = -1;

void write(int file, std::string_view text)
{
    [[maybe_unused]] const ssize_t written = ::write(file, text.data(), text.size());
}

// Calls only what may be called inside a signal handler. The walk up a stack that was written over may crash itself: then there is
// a note all the same. The signal's own action follows.
void leaveNote(int signal)
{
    VXSetCrashHandler(SIG_DFL);
    if (VXPluginMarker::lastWords()[0] == '\0')
        noteFile = ::open(notePath.data(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
    write(STDERR_FILENO, "vornix-desktop: the program crashed");
    if (const std::string_view plugin = VXPluginOnStack(); !plugin.empty()) {
        write(STDERR_FILENO, ", in the code of ");
        write(STDERR_FILENO, plugin);
        if (noteFile >= 0)
            write(noteFile, plugin);
    }
    write(STDERR_FILENO, "\n");
    ::raise(signal);
}

} // namespace

VXCrashNote::VXCrashNote()
{
    const QString folder = VXFileManager::defaultManager().pathToUserVNXApplicationSupportFolder();
    const QByteArray path = QFile::encodeName(folder + "/Last Crash"_L1);
    QFile note(QFile::decodeName(path));
    if (note.open(QFile::ReadOnly)) {
        _before = QFile::decodeName(note.read(PATH_MAX));
        note.remove();
    }
    if (folder.isEmpty() || size_t(path.size()) >= notePath.size() || !VXMakePrivateFolder(folder))
        return;
    std::ranges::copy(path, notePath.begin());
    VXPrepareStackWalk();
    VXGiveSignalStack();
    VXSetCrashHandler(leaveNote);
}
