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
 * Searches messages for a text: in their contents, and in the other party as it was recorded and as it is called now
 * (VXPartiesMeantBy). It starts with the newest and goes through some thousand messages at a time, so new ones show up
 * early, and nobody who wants something else has to wait. It keeps what it found in each stretch: if a letter is added
 * to the text, only those are searched. One thread at a time.
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
    /** Messages of a part by date; the last stretch is for those without a date. */
    struct Stretch
    {
        std::optional<QDateTime> before = {}; // none: from the newest on
        std::optional<QDateTime> oldest = {}; // none: to the end
        bool isDateless = false;
        VXPredicate dates() const;
        QString text = {}; // the text that everything in `found` contains, or that one of these parties contains
        QSet<QString> parties = {};
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

    VXPredicate has() const;
    Part *newestPart();
    bool addStretch(Part &part, VXError *error);
    std::optional<Messages> look(Part &part, VXError *error);
    std::optional<Messages> lookAmongFound(const Stretch &stretch, VXError *error) const;
    std::optional<Messages> lookAmongAll(const Part &part, const Stretch &stretch, bool *isComplete,
                                         VXError *error) const;
    std::optional<Messages> fetch(const QList<VXPredicate> &conditions, qsizetype limit, VXError *error) const;
    Messages takeFrom(qint64 newest);

    VXManagedObjectContext *_context = nullptr;
    QSet<QString> _parties; // whose messages are wanted, whatever they say
    QString _text;
    Finds _finds = Finds::Messages;
    QList<Part> _parts;
    Messages _held;       // newest first; other parts may have newer ones
    QSet<QString> _known; // conversations already found
};
