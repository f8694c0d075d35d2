#include "VXReactionScope.h"

namespace {

thread_local VXReactionScope *innermost = nullptr;

} // namespace

VXReactionScope::VXReactionScope() : _outer(innermost)
{
    innermost = this;
}

VXReactionScope::~VXReactionScope()
{
    innermost = _outer;
}

VXReactionOutcome VXReactionScope::deferOutcome()
{
    if (innermost == nullptr)
        return {};
    if (!innermost->_outcome)
        innermost->_outcome = std::make_shared<VXReactionOutcome::State>();
    return VXReactionOutcome(innermost->_outcome);
}

void VXReactionScope::noteError(const VXError &error)
{
    if (innermost != nullptr)
        innermost->_problems.append(error.localizedText());
}

void VXReactionScope::noteRemark(const QString &remark)
{
    if (innermost != nullptr)
        innermost->_remark = remark;
}
