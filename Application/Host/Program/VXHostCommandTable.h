#pragma once

#include "VXHostCommand.h"

#include <vector>

/** The commands of the program, and the options that go with all of them. */
class VXHostCommandTable
{
public:
    /** The program's own, and the hidden ones that make documents. */
    static const VXHostCommandTable &standard();

    VXHostCommandTable(std::vector<VXHostCommand> commands, QList<VXHostOption> globalOptions);

    const std::vector<VXHostCommand> &commands() const { return _commands; }
    const QList<VXHostOption> &globalOptions() const { return _globalOptions; }

    /** Nullptr when there is no such command. */
    const VXHostCommand *find(const QString &name) const;
    /** The names of the commands that are not hidden. */
    QStringList names() const;
    /** Behind the telling that there is no command of that name: which one may be meant, as VXDidYouMean says it. */
    QString hintFor(const QString &name) const;

private:
    std::vector<VXHostCommand> _commands;
    QList<VXHostOption> _globalOptions;
};
