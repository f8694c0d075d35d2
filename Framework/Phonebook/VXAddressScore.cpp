#include "VXAddressScore.h"

#include "VXPhoneNumber.h"
#include "VXTextComparison.h"
#include "VXWrittenNumber.h"

using namespace Qt::StringLiterals;

namespace {

// Each outweighs all that follow, and whatever else is known of a contact.
constexpr double otherCountry = -1e7;
constexpr double sameName = 1e6;
constexpr double sameCountry = 5e5;
constexpr double sameExtension = 2.5e5;
constexpr double sameType = 1e5;

} // namespace

VXAddressTraits::VXAddressTraits(const QString &nameBeside, const QString &address, unsigned typeMask)
    : name(VXFoldedText(nameBeside, VXTextOption::CaseInsensitive | VXTextOption::DiacriticInsensitive)), type(typeMask)
{
    if (address.contains(u'@'))
        return;
    const VXWrittenNumber written = VXWrittenNumber::in(address);
    abroad = VXPhoneNumberInternationalDigits(VXPhoneNumberWithoutTrunkZero(written.number));
    extension = written.extension;
}

double VXAddressScore(const VXAddressTraits &lookedUp, const VXAddressTraits &kept, double known, QStringList *reasons)
{
    double score = known;
    const auto add = [&](double value, const QString &reason) {
        score += value;
        if (reasons != nullptr)
            reasons->append(reason);
    };
    // Look-up strings leave out the country, which tells numbers apart if both have one.
    if (!lookedUp.abroad.isNull() && !kept.abroad.isNull()) {
        if (lookedUp.abroad == kept.abroad)
            add(sameCountry, u"has the number with its country"_s);
        else
            add(otherCountry, u"has the number in another country"_s);
    }
    if (!lookedUp.extension.isEmpty() && lookedUp.extension == kept.extension)
        add(sameExtension, u"has the number with its extension"_s);
    else if (!kept.extension.isEmpty()) // a call comes from the number of all
        add(-sameExtension, u"has the number with another extension"_s);
    if (!lookedUp.name.isEmpty() && lookedUp.name == kept.name)
        add(sameName, u"has the name that was given"_s);
    if (lookedUp.type != 0 && lookedUp.type == kept.type)
        add(sameType, u"has the type that was given"_s);
    add(0, known > 0 ? u"%1 for what is known of the contact"_s.arg(known) : u"nothing more is known of it"_s);
    return score;
}
