#include "VXSearchAnswers.h"

#include "VXFramework.h"
#include "VXMetaDataSync.h"
#include "VXMethodLog.h"
#include "VXUserDefaults.h"

#include <QtCore/QLocale>
#include <QtCore/QTextBoundaryFinder>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype mostResults = 20; // desktops show fewer
constexpr qsizetype longestSubtitle = 120;
constexpr std::chrono::seconds betweenAsks{1};

QString kindWord(const QString &kind)
{
    return kind == "contact"_L1   ? VXLocalizedString(u"Contact"_s)
           : kind == "message"_L1 ? VXLocalizedString(u"Message"_s)
           : kind == "call"_L1    ? VXLocalizedString(u"Call"_s)
                                  : kind;
}

// Cut between two characters as people see them.
QString startOf(const QString &text)
{
    if (text.size() <= longestSubtitle)
        return text;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    finder.setPosition(longestSubtitle);
    return text.first(finder.isAtBoundary() ? longestSubtitle : std::max<qsizetype>(finder.toPreviousBoundary(), 0));
}

} // namespace

VXSearchAnswers::VXSearchAnswers(std::function<void(const QString &url)> open, std::chrono::milliseconds idleTime)
    : _open(std::move(open))
{
    _idle.setSingleShot(true);
    _idle.setInterval(idleTime);
    _idle.start();
}

// A desktop may be all that ever looks into it.
void VXSearchAnswers::tell(const char *method, const VXError &error)
{
    VXLogMethod(VXLogWarning, method, error.description());
    if (!VXSearchIndex::discardIfDamaged(error))
        return;
    _index.reset();
    if (_didDiscard)
        _didDiscard();
}

// One that was made anew meanwhile is another file.
VXSearchIndex *VXSearchAnswers::index()
{
    VXError error;
    static_cast<void>(VXUserDefaults::standardUserDefaults().synchronize()); // another process may have set it
    if (VXMetaDataSync::isIgnored()) {
        _index.reset();
        return nullptr;
    }
    if (_willAsk && _nextAsk.hasExpired()) {
        _nextAsk = QDeadlineTimer(betweenAsks);
        _willAsk();
    }
    if (!_index || !_index->isCurrent())
        _index = VXSearchIndex::openExisting(&error);
    if (error)
        tell("index", error);
    return _index.get();
}

QList<VXFoundObject> VXSearchAnswers::find(const QString &words)
{
    VXError error;
    VXSearchIndex *const index = this->index(); // null, too, when the user wants no search
    const auto found = index == nullptr ? std::nullopt : index->find(words, {}, mostResults, &error);
    if (error)
        tell("find", error);
    return found.value_or(QList<VXFoundObject>());
}

std::optional<VXFoundObject> VXSearchAnswers::object(const QString &id)
{
    VXError error;
    VXSearchIndex *const index = this->index();
    const auto known = index == nullptr ? std::nullopt : index->object(QUrl(id), &error);
    if (error)
        tell("object", error);
    return known;
}

void VXSearchAnswers::open(const QString &id)
{
    if (const std::optional<VXFoundObject> known = object(id))
        _open(known->url().toString());
}

QString VXSearchAnswers::title(const VXFoundObject &object)
{
    return object.title.isEmpty() ? kindWord(object.kind) : object.title;
}

QString VXSearchAnswers::subtitle(const VXFoundObject &object)
{
    QStringList parts{object.call ? object.call->text() : kindWord(object.kind)};
    if (object.date.isValid())
        parts.append(QLocale().toString(object.date.toLocalTime(), QLocale::ShortFormat));
    if (!object.detail.isEmpty())
        parts.append(startOf(object.detail));
    return parts.join(u" · "_s);
}

QString VXSearchAnswers::icon(const VXFoundObject &object)
{
    return object.kind == "message"_L1 ? u"mail-message-new"_s
           : object.kind == "call"_L1  ? u"call-start"_s
                                       : u"avatar-default"_s;
}
