#pragma once

#include <QtCore/QHash>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QStringView>

class VXPluginManager;

/**
 * The texts that come from the program and not from its user: those in its code and that of the plugins that ship with it, in
 * their strings tables, and the system's texts of errors. They tell what of a log line may be shown to others. Reentrant.
 */
class VXOwnTexts
{
public:
    /** Those of this program. Reads its files; a second at most. */
    static VXOwnTexts ofThisProgram(const VXPluginManager &manager);

    /** The texts among the constants of a program or library (ELF, 64 bits); what is none is passed over. */
    void addCode(const QString &path);
    /** The keys and values of a strings table. */
    void addTable(const QString &path);
    /** A text that may have places for arguments (%1, %@), and its parts between them. */
    void addText(const QString &text);

    /** Whether the whole text is a single word that stands in the code by itself: a key, a class, an operation. */
    bool hasWord(const QString &word) const { return _words.contains(word); }
    /** The length of the longest own text of several words that stands at that place, between words; 0 for none. */
    qsizetype lengthAt(QStringView text, qsizetype position) const;

private:
    void addPhrase(QStringView phrase);

    QSet<QString> _words;
    QHash<QString, QStringList> _phrases; // by how they begin, the longest first once sorted
};
