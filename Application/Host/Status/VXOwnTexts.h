#pragma once

#include <QtCore/QHash>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QStringView>

class VXPluginManager;

/**
 * The texts that come from the program and not from its user: those in its code and in that of the plugins that ship
 * with it, in their strings tables, and the system's error texts. They determine which parts of a log line may be shown
 * to others. Reentrant.
 */
class VXOwnTexts
{
public:
    /** The texts of this program. Reads its files; takes a second at most. */
    static VXOwnTexts ofThisProgram(const VXPluginManager &manager);

    /** Adds the texts among the constants of a program or library (ELF, 64 bits); everything else is ignored. */
    void addCode(const QString &path);
    /** Adds the keys and values of a strings table. */
    void addTable(const QString &path);
    /** Adds a text that may have placeholders for arguments (%1, %@), and its parts between them. */
    void addText(const QString &text);

    /** Whether the whole text is a single word that occurs by itself in the code: a key, a class, an operation. */
    bool hasWord(const QString &word) const { return _words.contains(word); }
    /** The length of the longest own text of several words at that position, bounded by word ends; 0 if there is none.
     *  */
    qsizetype lengthAt(QStringView text, qsizetype position) const;

private:
    void addPhrase(QStringView phrase);

    QSet<QString> _words;
    QHash<QString, QStringList> _phrases; // by their beginning, the longest first once sorted
};
