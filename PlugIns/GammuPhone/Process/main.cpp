// The process of one phone, which a device starts and talks to by standard input and output. The library it links keeps
// texts in static buffers, waits for phones endlessly, and may crash: none of that affects the device's process.

#include "VXGammuServer.h"

#include <clocale>
#include <csignal>
#include <cstdlib>
#include <unistd.h>

int main()
{
    std::setlocale(LC_CTYPE, "");
    std::setlocale(LC_MESSAGES, "");
    GSM_InitLocales(nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGINT, SIG_IGN); // Ctrl-C is for the device, which then hangs up
    const int output = ::dup(STDOUT_FILENO);
    // Anything the library might print must not be taken for a message.
    if (output < 0 || ::dup2(STDERR_FILENO, STDOUT_FILENO) < 0)
        return EXIT_FAILURE;
    auto *const server = new VXGammuServer(STDIN_FILENO, output); // used by its channel's thread until the very end
    server->run();
    std::_Exit(EXIT_SUCCESS);
}
