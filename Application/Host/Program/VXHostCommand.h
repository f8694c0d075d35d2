#pragma once

#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>

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
    QStringList verbs = {};   // the first operands that it goes with; empty: any
    bool mayRepeat = false;   // of one with a value
    QString valueKind = {};   // what its values name, for the completion: a kind of VXWordsOfKind
    bool mayBeEmpty = false;  // its value
};

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
    QString synopsis = {}; // its operands, as "FILE" or "read|write DOMAIN"; null for none
    QString details = {};  // paragraphs for its help
    QList<VXHostOption> options = {};
    qsizetype minimumOperands = 0;
    qsizetype maximumOperands = 0;
    QStringList firstOperands = {};           // what the first operand may be, the standard one first; empty: anything
    QMap<QString, QString> verbSynopses = {}; // by first operand, those behind it, as "URL ACTION"
    /** By first operand, what the ones behind it name, for the completion: kinds of VXWordsOfKind, or "files". Under the empty
     *  text what all operands name, of commands without verbs. */
    QMap<QString, QStringList> operandKinds = {};
    bool isHidden = false;
    /** Answers the exit status, one of VXHostOutput's. */
    std::function<int(VXHostContext &)> run;
};
