#include "VXGammuStrings.h"

#include "VXBundle.h"
#include "VXErrorDomain.h"

using namespace Qt::StringLiterals;

const QString VXGammuErrorDomain = u"VXGammuErrorDomain"_s;

QString VXGammuLocalizedString(const QString &key)
{
    const VXBundle::Ptr bundle = VXBundle::bundleWithIdentifier(u"com.halvern.VNX2.GammuPhone"_s);
    return bundle ? bundle->localizedStringForKey(key) : key;
}

VXError VXErrorFromGammu(const VXGammuFailure &failure)
{
    if (!failure)
        return {};
    const QString text = VXGammuLocalizedString(failure.text);
    const QStringList &words = failure.arguments; // inserted all at once: a word may look like a placeholder
    const QString description = words.size() == 1   ? text.arg(words[0])
                                : words.size() == 2 ? text.arg(words[0], words[1])
                                : words.size() == 3 ? text.arg(words[0], words[1], words[2])
                                                    : text;
    const QVariantMap info{{VXLocalizedDescriptionKey, description}};
    return failure.code == 0 ? VXError(VXErrorDomain, VXErrorGeneral, info)
                             : VXError(VXGammuErrorDomain, failure.code, info);
}
