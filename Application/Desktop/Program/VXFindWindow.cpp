#include "VXFindWindow.h"

#include "VXCallRow.h"
#include "VXDateText.h"
#include "VXDesktopText.h"
#include "VXEmptyState.h"
#include "VXListPane.h"
#include "VXMetaDataSync.h"
#include "VXRowDelegate.h"
#include "VXSearchField.h"
#include "VXSearchIndex.h"
#include "VXStoreListModel.h"
#include "VXWindowMemory.h"

#include <QtCore/QPointer>
#include <QtCore/QThreadPool>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QLabel>

#include <chrono>

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

constexpr qsizetype most = 200;                                // more than anybody looks through
constexpr std::chrono::milliseconds betweenFirstLooks = 500ms; // longer and longer: it may lack something for long
constexpr std::chrono::milliseconds betweenLastLooks = 10s;

// None is lacking too, until it is made. On whatever thread.
bool isLacking(VXSearchIndex *index)
{
    return !VXMetaDataSync::isIgnored() && (index == nullptr || !VXMetaDataSync::isAllTakenIn(*index));
}

void haveSyncsLook()
{
    for (const VXMetaDataSync::Ptr &sync : VXMetaDataSync::launchedSyncs())
        sync->lookNow();
}

QString kindOf(const VXFoundObject &object)
{
    return object.kind == "contact"_L1   ? VXText("Contact")
           : object.kind == "message"_L1 ? VXText("Message")
                                         : VXText("Call");
}

VXRowContents contentsOf(const VXFoundObject &object)
{
    VXRowContents contents;
    contents.title = object.title.isEmpty() ? kindOf(object) : object.title;
    contents.detail = object.detail;
    if (object.kind == "contact"_L1)
        contents.person = contents.title;
    else if (object.call)
        VXShowCall(*object.call, &contents);
    else
        contents.icon = object.kind == "message"_L1 ? u"message"_s : u"call"_s;
    if (object.date.isValid())
        contents.when = VXTextOfDate(object.date, VXDateStyle::Short);
    return contents;
}

} // namespace

class VXFindWindow::Model : public QAbstractListModel
{
public:
    using QAbstractListModel::QAbstractListModel;

    void set(const QList<VXFoundObject> &found)
    {
        beginResetModel();
        _found = found;
        endResetModel();
    }
    QUrl uriAt(int row) const { return row < _found.size() ? _found[row].uri() : QUrl(); }

    int rowCount(const QModelIndex &parent = {}) const override
    {
        return parent.isValid() ? 0 : static_cast<int>(_found.size());
    }
    QVariant data(const QModelIndex &index, int role) const override
    {
        if (!checkIndex(index, CheckIndexOption::IndexIsValid))
            return {};
        const VXFoundObject &object = _found[index.row()];
        if (role == VXStoreListModel::ValueRole)
            return QVariant::fromValue(contentsOf(object));
        if (role != Qt::DisplayRole && role != Qt::AccessibleTextRole)
            return {};
        QStringList spoken{object.call ? object.call->text() : kindOf(object), object.title, object.detail};
        if (object.date.isValid())
            spoken.append(VXTextOfDate(object.date));
        spoken.removeAll(QString());
        return spoken.join(", "_L1);
    }

private:
    QList<VXFoundObject> _found;
};

struct VXFindWindow::Answer
{
    bool isIgnored = false; // the user wants no search
    bool hasIndex = false;
    bool isLacking = false;
    std::optional<QList<VXFoundObject>> found = {};
    VXError error = {};
};

VXFindWindow::VXFindWindow(QWidget *parent)
    : QDialog(parent), _model(new Model(this)),
      _pane(new VXListPane(VXText("Search contacts, messages and calls"), VXText("Found"), this)),
      _lack(new QLabel(VXText("Some may not be found yet: what was saved just now is still being taken in."), this))
{
    setWindowTitle(VXText("Find everywhere"));
    auto *const column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(_pane);
    column->addWidget(_lack);
    _lack->setWordWrap(true);
    _lack->setMargin(12);
    _again.setSingleShot(true);
    connect(&_again, &QTimer::timeout, this, &VXFindWindow::lookAgain);
    _pane->setModel(_model);
    connect(_pane, &VXListPane::searchDidChange, this, &VXFindWindow::find);
    connect(_pane, &VXListPane::activated, this, &VXFindWindow::choose);
    connect(_pane->list(), &QListView::clicked, this, [this](const QModelIndex &index) { choose(index.row()); });
    connect(_pane->search(), &QLineEdit::returnPressed, this, [this] {
        if (_model->rowCount() > 0 && _pane->search()->text().trimmed() == _shownWords)
            choose(std::max(0, _pane->list()->currentIndex().row()));
    });
    VXRememberWindow(*this, u"find"_s, {520, 560});
    show({}, {.hasIndex = true});
}

VXFindWindow::~VXFindWindow() = default;

void VXFindWindow::begin(const QString &words)
{
    if (!words.isEmpty())
        _pane->search()->setText(words);
    if (!_words.isEmpty() && _words == _pane->search()->text().trimmed())
        find(_words); // the answer may be an old one
    _pane->search()->setFocus();
    _pane->search()->selectAll();
}

// However slow searching is, typing must not be delayed: another thread searches.
void VXFindWindow::find(const QString &words)
{
    _words = words;
    if (words.isEmpty())
        return show(words, {.hasIndex = true});
    QThreadPool::globalInstance()->start([self = QPointer(this), words] {
        Answer answer{.isIgnored = VXMetaDataSync::isIgnored()};
        const auto index = answer.isIgnored ? nullptr : VXSearchIndex::openExisting(&answer.error);
        answer.hasIndex = index != nullptr;
        if (index)
            answer.found = index->find(words, {}, most + 1, &answer.error);
        answer.isLacking = isLacking(index.get());
        if (!answer.found && !answer.isIgnored &&
            VXSearchIndex::discardIfDamaged(answer.error)) { // it is made again, as when it is missing
            for (const VXMetaDataSync::Ptr &sync : VXMetaDataSync::launchedSyncs())
                sync->setNeedsUpdate(true);
            answer = {.isLacking = true};
        }
        if (answer.isLacking)
            haveSyncsLook();
        QMetaObject::invokeMethod(QCoreApplication::instance(), [self, words, answer] {
            if (self && self->_words == words)
                self->show(words, answer);
        });
    });
}

void VXFindWindow::show(const QString &words, const Answer &answer)
{
    _shownWords = words;
    QList<VXFoundObject> found = answer.found.value_or(QList<VXFoundObject>());
    const bool isMore = found.size() > most;
    found.resize(std::min(found.size(), most));
    _model->set(found);
    _lack->setVisible(answer.isLacking && answer.hasIndex);
    if (answer.isLacking)
        _again.start(betweenFirstLooks);
    else
        _again.stop();
    VXEmptyState *const empty = _pane->placeholder();
    if (answer.error)
        empty->setContents(u"warning"_s, VXText("This cannot be searched for"), answer.error.localizedDescription());
    else if (answer.isIgnored)
        empty->setContents(u"search"_s, VXText("The search is switched off"),
                           VXText("The setting “metadata.ignore” says so."));
    else if (!answer.hasIndex)
        empty->setContents(u"clock"_s, VXText("The search is not ready yet"),
                           VXText("It takes in contacts, messages and calls shortly after the start."));
    else if (words.isEmpty())
        empty->setContents(u"search"_s, VXText("Search for words, names or numbers"),
                           VXText("The last four digits of a number will do."));
    else
        empty->setContents(u"search"_s, VXText("Nothing found"),
                           VXText("No contact, message or call has all of that."));
    _pane->setIsEmpty(found.isEmpty());
    _pane->search()->setResultCount(
        words.isEmpty() || answer.error ? std::nullopt : std::optional<qint64>(found.size()), isMore);
}

// Until then what is shown stays, with what the user has chosen of it.
void VXFindWindow::lookAgain()
{
    if (!isVisible())
        return; // who opens it types anew
    QThreadPool::globalInstance()->start([self = QPointer(this), words = _words] {
        const std::unique_ptr<VXSearchIndex> index = VXSearchIndex::openExisting();
        const bool isStillLacking = isLacking(index.get());
        if (isStillLacking)
            haveSyncsLook();
        QMetaObject::invokeMethod(QCoreApplication::instance(), [self, words, isStillLacking] {
            if (!self || self->_words != words)
                return;
            if (isStillLacking)
                self->_again.start(std::min(2 * self->_again.intervalAsDuration(), betweenLastLooks));
            else
                self->find(words);
        });
    });
}

void VXFindWindow::choose(int row)
{
    const QUrl uri = _model->uriAt(row);
    if (uri.isEmpty() || !isVisible()) // some desktops take a single click for a double click too
        return;
    accept();
    Q_EMIT chosen(uri);
}
