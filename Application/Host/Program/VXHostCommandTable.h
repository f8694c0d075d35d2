#pragma once

#include "VXHostCommand.h"

#include <vector>

/** The commands of the program, and the options that all of them have. */
class VXHostCommandTable
{
public:
    /** The program's own commands, and the hidden ones that make documents. */
    static const VXHostCommandTable &standard();

    VXHostCommandTable(std::vector<VXHostCommand> commands, QList<VXHostOption> globalOptions);

    const std::vector<VXHostCommand> &commands() const { return _commands; }
    const QList<VXHostOption> &globalOptions() const { return _globalOptions; }

    /** Nullptr if there is no such command. */
    const VXHostCommand *find(const QString &name) const;
    /** The names of the commands that are not hidden. */
    QStringList names() const;
    /** Appended to the message that there is no such command: which one may be meant, in the form of VXDidYouMean. */
    QString hintFor(const QString &name) const;

private:
    std::vector<VXHostCommand> _commands;
    QList<VXHostOption> _globalOptions;
};
