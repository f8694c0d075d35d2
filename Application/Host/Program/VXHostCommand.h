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
    QString placeholder; // for its value, such as "DIR"; null for a switch
    QString summary;
    QStringList choices = {}; // the values it takes; empty: any
    QStringList verbs = {};   // the names of the verbs it goes with, "" for the one without a name; empty: any
    bool mayRepeat = false;   // if it has a value
    QString valueKind = {};   // what its values name, for completion: a kind of VXWordsOfKind
    bool mayBeEmpty = false;  // whether its value may be empty
    double minimum = 0;       // of a value that is a number (N, SECONDS)
};

/**
 * The first operand of a command, which says what it should do, and the operands after it. One without a name, the last
 * in the list, is meant by all operands that are those of no other.
 */
struct VXHostVerb
{
    static constexpr qsizetype unlimited = std::numeric_limits<qsizetype>::max();

    QString name;
    QString operands = {};         // such as "DEVICE KEY=VALUE..."; null for none
    qsizetype minimum = 0;         // of them
    qsizetype maximum = 0;         //
    QStringList operandKinds = {}; // what they name, for completion: kinds of VXWordsOfKind, or "files"
    bool mayEndEmpty = false;      // whether the last required one may be an empty text
};

/** The verbs of a command's own table, whose entries consist of a verb followed by ways to run it. */
template <class Verbs>
[[nodiscard]] QList<VXHostVerb> VXHostVerbsOf(const Verbs &verbs)
{
    return QList<VXHostVerb>(std::begin(verbs), std::end(verbs));
}

/** What a command gets when it runs. */
struct VXHostContext
{
    const VXHostOptions &options;
    const VXHostCommandTable &commands;
    VXHostOutput &output;
};

/** One command of the program: everything that parsing, help, completion and the man page need to know about it. */
struct VXHostCommand
{
    QString name;
    QString summary;
    QStringList otherNames = {}; // by which people may search for it
    QString synopsis = {};       // its operands, such as "FILE", if it has no verbs; null for none
    QString details = {};        // paragraphs for its help
    QList<VXHostOption> options = {};
    qsizetype minimumOperands = 0;
    qsizetype maximumOperands = 0;
    QStringList operandKinds = {}; // as in a verb
    QList<VXHostVerb> verbs = {};  // empty: the operands are those above
    bool needsVerb = false;        // otherwise the first one is used if none is named
    bool isHidden = false;

    bool hasNamelessVerb() const { return !verbs.isEmpty() && verbs.constLast().name.isEmpty(); }
    QStringList verbNames() const
    {
        QStringList names;
        for (const VXHostVerb &verb : verbs) {
            if (!verb.name.isEmpty())
                names.append(verb.name);
        }
        return names;
    }
    /** Returns the exit status, one of VXHostOutput's. */
    std::function<int(VXHostContext &)> run;
};
