#pragma once

#include "VXHostCommand.h"

#include <QtCore/QHash>

#include <algorithm>
#include <utility>

/**
 * Parses the command line. Options may be before and after operands, as "--name VALUE" or "--name=VALUE"; "--" ends
 * them; "-" alone and negative numbers are operands, "-h" means "--help". An option with a value may be given only
 * once, unless it is repeatable.
 */
class VXHostOptions
{
public:
    /** `arguments` without the program's name. */
    VXHostOptions(const QStringList &arguments, const VXHostCommandTable &commands);

    /** What is wrong with the command line; null if nothing is. Otherwise the rest contains what was read so far. */
    QString error() const { return _error; }

    /** Nullptr if none is named. */
    const VXHostCommand *command() const { return _command; }
    /** What comes after the command's name, without options. */
    const QStringList &operands() const { return _operands; }
    /** Null if there are fewer. */
    QString operand(qsizetype index) const { return _operands.value(index); }
    /** The first operand, or the default verb if there is none; null for a command without verbs, and for operands of
     *  its nameless verb. */
    QString verb() const;
    /** That verb in the table from which the command's verbs were made. */
    template <class Verbs>
    const auto &verbIn(const Verbs &table) const
    {
        return *std::ranges::find(table, verb(), &VXHostVerb::name);
    }

    bool isSet(const QString &option) const { return _values.contains(option); }
    /** The option's value, the last one if it was repeated; null if it was not given. */
    QString value(const QString &option) const { return _values.value(option); }
    /** Every option as it was given, name and value, in order, with all repetitions. */
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
