#include "VXOptionForm.h"

#include "VXErrorText.h"
#include "VXHostCommand.h"
#include "VXHostOptions.h"
#include "VXPredicate.h"

#include <algorithm>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

constexpr int most = std::numeric_limits<int>::max(); // of a number
constexpr double mostSeconds = 1e6;

QString problemOfNumber(const QString &text, double least)
{
    bool isNumber = false;
    const qlonglong number = text.toLongLong(&isNumber);
    return isNumber && double(number) >= least && number <= most
               ? QString()
               : u"\"%1\" is no number from %2 to %3"_s.arg(text).arg(least).arg(most);
}

QString problemOfSeconds(const QString &text, double least)
{
    bool isNumber = false;
    const double seconds = text.toDouble(&isNumber);
    return isNumber && seconds >= least && seconds <= mostSeconds ? QString()
                                                                  : u"\"%1\" is no number of seconds"_s.arg(text);
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
        const QString problem = option->placeholder == "N"_L1           ? problemOfNumber(value, option->minimum)
                                : option->placeholder == "SECONDS"_L1   ? problemOfSeconds(value, option->minimum)
                                : option->placeholder == "PREDICATE"_L1 ? problemOfPredicate(value)
                                                                        : QString();
        if (!problem.isNull())
            return u"--%1: %2"_s.arg(name, problem);
    }
    return {};
}
