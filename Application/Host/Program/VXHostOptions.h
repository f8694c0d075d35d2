#pragma once

#include "VXHostCommand.h"

#include <QtCore/QHash>

#include <algorithm>
#include <utility>

/**
 * The command line, taken apart. Options may stand before and after operands, as "--name VALUE" or "--name=VALUE";
 * "--" ends them; "-" alone and negative numbers are operands, "-h" is "--help". An option with a
 * value stands there once, unless it may be repeated.
 */
class VXHostOptions
{
public:
    /** `arguments` without the program's name. */
    VXHostOptions(const QStringList &arguments, const VXHostCommandTable &commands);

    /** What is wrong with the command line; null when nothing is. The rest then holds what was read so far. */
    QString error() const { return _error; }

    /** Nullptr when none is named. */
    const VXHostCommand *command() const { return _command; }
    /** What follows the command's name, without options. */
    const QStringList &operands() const { return _operands; }
    /** Null when there are not so many. */
    QString operand(qsizetype index) const { return _operands.value(index); }
    /** The first operand, or the verb that is meant without any; null for a command that has none. */
    QString verb() const;
    /** That verb in the table which the command's verbs were made of. */
    template <class Verbs>
    const auto &verbIn(const Verbs &table) const
    {
        return *std::ranges::find(table, verb(), &VXHostVerb::name);
    }

    bool isSet(const QString &option) const { return _values.contains(option); }
    /** The option's value, of a repeated one the last; null when it was not given. */
    QString value(const QString &option) const { return _values.value(option); }
    /** Every option as it was given, name and value, in order, repeated ones each time. */
    const QList<std::pair<QString, QString>> &occurrences() const { return _occurrences; }

private:
    void readOption(const QString &argument, QStringList &rest, const VXHostCommandTable &commands);
    void readOperand(const QString &argument, const VXHostCommandTable &commands);
    void checkVerb();
    void checkOperands(const VXHostVerb &verb, const QStringList &operands);
    void checkOptions();
    void fail(const QString &error);

    QString _error;
    const VXHostCommand *_command = nullptr;
    QStringList _operands;
    QHash<QString, QString> _values;
    QList<std::pair<QString, QString>> _occurrences;
};
