#include "VXCopyWatch.h"

#include <utility>

namespace {

thread_local VXCopyWatch *ofThread = nullptr;

} // namespace

VXCopyWatch::Scope::Scope(VXCopyWatch &watch) : _before(std::exchange(ofThread, &watch)) {}

VXCopyWatch::Scope::~Scope()
{
    ofThread = _before;
}

bool VXCopyWatch::note(qint64 bytes)
{
    if (ofThread == nullptr)
        return true;
    ofThread->_done += bytes;
    return !ofThread->_isCancelled;
}
