#pragma once

#include "VXError.h"
#include "VXManagedObjectContext.h"

#include <QtCore/QDateTime>
#include <QtCore/QList>
#include <QtCore/QSet>
#include <QtCore/QString>

#include <limits>
#include <optional>

/**
 * Looks for the words of a text in messages, each in what they say or in the other party as it was recorded and is called now
 * (VXPartiesMeantBy), from the newest on, a stretch of some thousand at a time: so what is new shows early, and whoever wants
 * something else need not wait. It keeps what it found in each stretch: a letter more is looked for only among that. One thread at a
 * time.
 */
class VXMessageScan
{
public:
    enum class Finds { Messages, Conversations /* the newest message of each */ };

    /**
     * Begins with the newest. Each condition selects a part of the messages that an index has in date order; until
     * forget() is called, the conditions of the first time apply. The context must exist until end().
     */
    void begin(VXManagedObjectContext &context, const QList<VXPredicate> &conditions, const QString &text, Finds finds);
    void end();
    bool isAtEnd() const;
    /** Searches another stretch. @return what it found, if anything, all older than before. None on failure. */
    std::optional<QList<VXManagedObjectPtr>> next(VXError *error);
    /** To be called after messages have changed: forgets what was found, and where. */
    void forget() { _parts.clear(); }

private:
    /** What messages are to have. */
    struct Words
    {
        struct Word
        {
            QString text = {};
            QString number = {};        // that it is, as those that were recorded are compared; null for none
            QSet<QString> parties = {}; // who may be meant by it
            bool isWithin(const Word &other) const;
        };
        QList<Word> words = {};
        QSet<QString> parties = {}; // who may be meant by all of it, whatever their messages say
        /** Whatever has these has the other ones. */
        bool areWithin(const Words &other) const;
        VXPredicate predicate() const;
    };
    static Words wordsOf(const QString &text);

    /** Messages of a part by their dates; the last one is of those without. */
    struct Stretch
    {
        std::optional<QDateTime> before = {}; // none: from the newest on
        std::optional<QDateTime> oldest = {}; // none: to the end
        bool isDateless = false;
        VXPredicate dates() const;
        Words words = {}; // that `found` has
        std::optional<QList<VXManagedObjectID>> found = {};
    };
    struct Part
    {
        VXPredicate condition = {};
        QList<Stretch> stretches = {};
        qsizetype next = 0;
        qint64 newest = std::numeric_limits<qint64>::max(); // in what is still to be searched, in milliseconds
        bool isDone() const { return next > 0 && next == stretches.size() && stretches.constLast().isDateless; }
    };

    using Messages = QList<VXManagedObjectPtr>;

    Part *newestPart();
    bool addStretch(Part &part, VXError *error);
    std::optional<Messages> look(Part &part, VXError *error);
    std::optional<Messages> lookAmongFound(const Stretch &stretch, VXError *error) const;
    std::optional<Messages> lookAmongAll(const Part &part, const Stretch &stretch, bool *isComplete,
                                         VXError *error) const;
    std::optional<Messages> fetch(const QList<VXPredicate> &conditions, qsizetype limit, VXError *error) const;
    Messages takeFrom(qint64 newest);

    VXManagedObjectContext *_context = nullptr;
    Words _words;
    Finds _finds = Finds::Messages;
    QList<Part> _parts;
    Messages _held;       // newest first; other parts may have newer ones
    QSet<QString> _known; // conversations already found
};
