#include "VXScriptCommand.h"

#include "VXMethodLog.h"
#include "VXObjectSpecifier.h"

using namespace Qt::StringLiterals;

VXScriptCommand::~VXScriptCommand() = default;

QVariant VXScriptCommand::vx_evaluatedDirectParameter()
{
    if (_directParameter.metaType() != QMetaType::fromType<VXObjectSpecifier>())
        return _directParameter;
    const VXObjectSpecifier::Evaluation result = _directParameter.value<VXObjectSpecifier>().evaluate(_application);
    if (result.errorNumber == VXSpecifierNoError)
        return result.objects;
    _scriptErrorNumber = result.errorNumber;
    _scriptErrorString = u"Unable to evaluate container specifier: %1"_s.arg(result.failing->text());
    VXLogMethod(VXLogWarning, "vx_evaluatedDirectParameter",
                u"Error %1: %2"_s.arg(_scriptErrorNumber).arg(_scriptErrorString));
    return {};
}
