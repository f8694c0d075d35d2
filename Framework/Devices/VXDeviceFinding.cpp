#include "VXDeviceFinding.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype longestText = 200; // of texts that come from a phone

// A phone may give itself any name: makes it a single line without characters that preferences cannot hold.
QString plain(QString text)
{
    const auto isUnfit = [](QChar character) {
        return character.category() == QChar::Other_Control || character.isNonCharacter() || character.isSurrogate();
    };
    const bool isPaired = text.isValidUtf16();
    std::replace_if(
        text.begin(), text.end(),
        [&](QChar character) { return isUnfit(character) && !(isPaired && character.isSurrogate()); }, u' ');
    text = text.simplified();
    if (text.size() <= longestText)
        return text.isEmpty() ? QString() : text;
    const bool isBetween = text[longestText - 1].isHighSurrogate();
    return text.first(isBetween ? longestText - 1 : longestText) + u'…';
}

} // namespace

VXDeviceFinding::VXDeviceFinding() = default;

VXDeviceFinding::~VXDeviceFinding() = default;

void VXDeviceFinding::add(const VXFoundDevice &device)
{
    if (_isConcluded)
        return;
    VXFoundDevice taken = device;
    for (QString *const text : {&taken.name, &taken.identifier, &taken.place})
        *text = plain(*text);
    for (QVariant &preference : taken.preferences) {
        if (preference.metaType() == QMetaType::fromType<QString>())
            preference = plain(preference.toString());
    }
    _devices.append(taken);
}

void VXDeviceFinding::setProblem(const VXError &problem)
{
    if (!_isConcluded)
        _problem = problem;
}

void VXDeviceFinding::conclude()
{
    if (_isConcluded)
        return;
    _isConcluded = true;
    Q_EMIT didConclude();
}
