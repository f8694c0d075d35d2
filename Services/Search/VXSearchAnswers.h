#pragma once

#include "VXSearchIndex.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTimer>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

/** What the desktops' interfaces have in common: the index, and for how long nobody has asked. */
class VXSearchAnswers
{
public:
    VXSearchAnswers(std::function<void(const QString &url)> open, std::chrono::milliseconds idleTime);
    /** Called when the index was damaged, and was thrown away. */
    void setDidDiscard(std::function<void()> didDiscard) { _didDiscard = std::move(didDiscard); }
    /** Called before the index is asked, once a second at most. */
    void setWillAsk(std::function<void()> willAsk) { _willAsk = std::move(willAsk); }

    /** Every call of a desktop's comes by here. */
    void noteCall() { _idle.start(); }
    QTimer &idleTimer() { return _idle; }

    /** Empty when nothing is found, and without an index. */
    QList<VXFoundObject> find(const QString &words);
    /** The object of an ID, as find() told it (its URI); none for one that is gone. */
    std::optional<VXFoundObject> object(const QString &id);
    /** Does nothing with one that is gone. */
    void open(const QString &id);
    /** Shows the application, with what these words find, if there are some. */
    void openSearch(const QString &words)
    {
        _open(words.isEmpty() ? QString() : VXFoundObject::searchURL(words).toString(QUrl::FullyEncoded));
    }

    /** "Message · 31.01.26, 10:00 · See you": what is told of one beside its name. */
    static QString subtitle(const VXFoundObject &object);
    static QString title(const VXFoundObject &object);
    /** Of the freedesktop.org icon names. */
    static QString icon(const VXFoundObject &object);

private:
    VXSearchIndex *index();
    void tell(const char *method, const VXError &error);

    const std::function<void(const QString &url)> _open;
    std::function<void()> _didDiscard;
    std::function<void()> _willAsk;
    QDeadlineTimer _nextAsk{0}; // when it is due again
    std::unique_ptr<VXSearchIndex> _index;
    QTimer _idle;
};
