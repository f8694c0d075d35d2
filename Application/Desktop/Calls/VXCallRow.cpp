#include "VXCallRow.h"

using namespace Qt::StringLiterals;

void VXShowCall(const VXFoundCall &call, VXRowContents *contents)
{
    using Way = VXFoundCall::Way;
    using Tone = VXRowContents::Tone;
    contents->detail = call.text();
    contents->icon = call.way == Way::Missed ? u"call-missed"_s : call.way == Way::In ? u"call-in"_s : u"call-out"_s;
    contents->iconTone = call.way == Way::Missed ? Tone::Bad : call.way == Way::In ? Tone::Good : Tone::Accent;
}
