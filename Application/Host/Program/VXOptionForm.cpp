#include "VXOptionForm.h"

#include "VXErrorText.h"
#include "VXHostCommand.h"
#include "VXHostOptions.h"
#include "VXPredicate.h"

#include <algorithm>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

constexpr qlonglong most = std::numeric_limits<int>::max(); // of a number

QString problemOfNumber(const QString &text)
{
    bool isNumber = false;
    const qlonglong number = text.toLongLong(&isNumber);
    return isNumber && number >= 0 && number <= most ? QString()
                                                     : u"\"%1\" is no number from 0 to %2"_s.arg(text).arg(most);
}

QString problemOfPredicate(const QString &text)
{
    VXError error;
    return VXPredicate::predicateWithFormat(text, {}, &error) ? QString() : VXErrorText(error);
}

} // namespace

QString VXProblemOfOptionForms(const VXHostOptions &options)
{
    const QList<VXHostOption> &known = options.command()->options;
    for (const auto &[name, value] : options.occurrences()) {
        const auto option = std::ranges::find(known, name, &VXHostOption::name);
        if (option == known.end() || value.isEmpty()) // an option of the whole program, or one that may be empty
            continue;
        const QString problem = option->placeholder == "N"_L1           ? problemOfNumber(value)
                                : option->placeholder == "PREDICATE"_L1 ? problemOfPredicate(value)
                                                                        : QString();
        if (!problem.isNull())
            return u"--%1: %2"_s.arg(name, problem);
    }
    return {};
}
