#pragma once

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>
#include <iterator>
#include <limits>

class VXHostCommandTable;
class VXHostOptions;
class VXHostOutput;

/** An option of the program or of one command. */
struct VXHostOption
{
    QString name;        // without the dashes
    QString placeholder; // of its value, as "DIR"; null for a switch
    QString summary;
    QStringList choices = {}; // the values it takes; empty: any
    QStringList verbs = {};   // the names of those that it goes with; empty: any
    bool mayRepeat = false;   // of one with a value
    QString valueKind = {};   // what its values name, for the completion: a kind of VXWordsOfKind
    bool mayBeEmpty = false;  // its value
};

/** What the first operand of a command says that it shall do, and the operands behind that one. */
struct VXHostVerb
{
    static constexpr qsizetype unlimited = std::numeric_limits<qsizetype>::max();

    QString name;
    QString operands = {};         // as "DEVICE KEY=VALUE..."; null for none
    qsizetype minimum = 0;         // of them
    qsizetype maximum = 0;         //
    QStringList operandKinds = {}; // what they name, for the completion: kinds of VXWordsOfKind, or "files"
    bool mayEndEmpty = false;      // whether the last of the needed ones may be an empty text
};

/** The verbs of a command's own table, where ways to run them follow each. */
template <class Verbs>
[[nodiscard]] QList<VXHostVerb> VXHostVerbsOf(const Verbs &verbs)
{
    return QList<VXHostVerb>(std::begin(verbs), std::end(verbs));
}

/** What a command gets to run with. */
struct VXHostContext
{
    const VXHostOptions &options;
    const VXHostCommandTable &commands;
    VXHostOutput &output;
};

/** One command of the program: everything that parsing, help, completion and the man page need to know of it. */
struct VXHostCommand
{
    QString name;
    QString summary;
    QStringList otherNames = {}; // by which people may look for it
    QString synopsis = {};       // its operands, as "FILE", when it has no verbs; null for none
    QString details = {};        // paragraphs for its help
    QList<VXHostOption> options = {};
    qsizetype minimumOperands = 0;
    qsizetype maximumOperands = 0;
    QStringList operandKinds = {}; // as a verb's
    QList<VXHostVerb> verbs = {};  // empty: the operands are those above
    bool needsVerb = false;        // else the first is meant when none is named
    bool isHidden = false;

    QStringList verbNames() const
    {
        QStringList names;
        for (const VXHostVerb &verb : verbs)
            names.append(verb.name);
        return names;
    }
    /** Answers the exit status, one of VXHostOutput's. */
    std::function<int(VXHostContext &)> run;
};
