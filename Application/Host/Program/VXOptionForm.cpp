#include "VXOptionForm.h"

#include "VXErrorText.h"
#include "VXHostCommand.h"
#include "VXHostOptions.h"
#include "VXPredicate.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QString problemOfNumber(const QString &text)
{
    bool isNumber = false;
    const qlonglong number = text.toLongLong(&isNumber);
    return isNumber && number >= 0 ? QString() : u"\"%1\" is no number from 0 on"_s.arg(text);
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
        if (option == known.end() || value.isEmpty()) // of the whole program, or one that may be empty
            continue;
        const QString problem = option->placeholder == "N"_L1           ? problemOfNumber(value)
                                : option->placeholder == "PREDICATE"_L1 ? problemOfPredicate(value)
                                                                        : QString();
        if (!problem.isNull())
            return u"--%1: %2"_s.arg(name, problem);
    }
    return {};
}
