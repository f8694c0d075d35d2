#include "VXLogWindow.h"

#include "VXDesktopText.h"
#include "VXFileManager.h"
#include "VXLog.h"
#include "VXLogTail.h"
#include "VXSearchField.h"

#include <QtCore/QRegularExpression>
#include <QtGui/QClipboard>
#include <QtGui/QFontDatabase>
#include <QtWidgets/QApplication>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QPlainTextEdit>
#include <QtWidgets/QPushButton>

using namespace Qt::StringLiterals;

namespace {

constexpr size_t mostEntries = 5000;

// Masks all but the last two digits of anything long enough to be a phone number with its "+".
QString masked(QString text)
{
    static const QRegularExpression number(u"\\+\\d[\\d ()-]{5,}\\d"_s);
    qsizetype from = 0;
    for (auto match = number.match(text, from); match.hasMatch(); match = number.match(text, from)) {
        QString hidden = match.captured();
        for (qsizetype i = 0; i < hidden.size() - 2; ++i) {
            if (hidden[i].isDigit())
                hidden[i] = u'•';
        }
        text.replace(match.capturedStart(), match.capturedLength(), hidden);
        from = match.capturedEnd();
    }
    return text;
}

} // namespace

VXLogWindow::VXLogWindow(QWidget *parent)
    : QDialog(parent), _level(new QComboBox(this)), _search(new VXSearchField(this)),
      _pause(new QPushButton(VXText("Pause"), this)), _text(new QPlainTextEdit(this))
{
    setWindowTitle(VXText("Log"));
    resize(860, 520);
    _level->addItem(VXText("Failures"), unsigned(VXLogError));
    _level->addItem(VXText("Warnings and failures"), unsigned(VXLogWarning));
    _level->addItem(VXText("Everything"), unsigned(VXLogDebug));
    _level->setCurrentIndex(2);
    _level->setAccessibleName(VXText("Level"));
    _search->setPlace(VXText("Search the log"));
    _pause->setCheckable(true);
    _text->setReadOnly(true);
    _text->setAccessibleName(VXText("Log"));
    _text->setPlaceholderText(VXText("Nothing was logged."));
    _text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    _text->setLineWrapMode(QPlainTextEdit::NoWrap);
    _text->setMaximumBlockCount(int(mostEntries));
    auto *const copy = new QPushButton(VXText("Copy"), this);
    for (QPushButton *const button : {_pause, copy})
        button->setAutoDefault(false);
    auto *const row = new QHBoxLayout;
    row->addWidget(_level);
    row->addWidget(_search, 1);
    row->addWidget(_pause);
    row->addWidget(copy);
    auto *const column = new QVBoxLayout(this);
    column->setContentsMargins(16, 14, 16, 16);
    column->addLayout(row);
    column->addWidget(_text, 1);
    connect(_level, &QComboBox::activated, this, [this] { showEntries(true); });
    connect(_search, &VXSearchField::searchTextDidChange, this, [this] { showEntries(true); });
    connect(_pause, &QPushButton::toggled, this, [this](bool isPaused) {
        if (!isPaused)
            showEntries(true);
    });
    connect(copy, &QPushButton::clicked, this, [this] { QApplication::clipboard()->setText(_text->toPlainText()); });
    _tail = std::make_unique<VXLogTail>(VXFileManager::defaultManager().pathToUserVNXLogsFolder() + "/error.log"_L1,
                                        [this](const QByteArray &line) { take(line); });
    _tail->readAvailable();
    _tail->follow([this] { showEntries(false); });
    showEntries(true);
}

VXLogWindow::~VXLogWindow() = default;

void VXLogWindow::take(const QByteArray &line)
{
    if (auto entry = VXLogEntry::fromLine(line)) {
        _entries.push_back(std::move(*entry));
        if (_entries.size() > mostEntries) {
            _entries.pop_front();
            _shown -= std::min<size_t>(_shown, 1);
        }
    } else if (!_entries.empty()) {
        _entries.back().message += u"\n    "_s + QString::fromUtf8(line);
    }
}

bool VXLogWindow::isShown(const VXLogEntry &entry) const
{
    return entry.level <= _level->currentData().toUInt() &&
           entry.message.contains(_search->searchText(), Qt::CaseInsensitive);
}

void VXLogWindow::showEntries(bool isAnew)
{
    if (_pause->isChecked() && !isAnew)
        return;
    if (isAnew) {
        _text->clear();
        _shown = 0;
    }
    for (; _shown < _entries.size(); ++_shown) {
        const VXLogEntry &entry = _entries[_shown];
        if (isShown(entry))
            _text->appendPlainText(
                u"%1  %2  %3"_s.arg(entry.date, entry.levelName.leftJustified(8), masked(entry.message)));
    }
    _text->moveCursor(QTextCursor::End);
    _text->moveCursor(QTextCursor::StartOfLine); // not the end of a long line
}
