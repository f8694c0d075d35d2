#include "VXSearchField.h"

#include "VXInterface.h"
#include "VXSymbol.h"

#include <QtCore/QLocale>
#include <QtGui/QAccessible>
#include <QtGui/QAction>
#include <QtGui/QKeyEvent>
#include <QtWidgets/QLabel>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int restInterval = 25; // ms; nobody types for long with less between two letters
constexpr int buttonWidth = 26;

} // namespace

VXSearchField::VXSearchField(QWidget *parent)
    : QLineEdit(parent), _count(new QLabel(this)),
      _clear(addAction(VXSymbol::named(u"clear"_s, VXSymbol::Tone::Quiet), TrailingPosition))
{
    QAction *const start = addAction(VXSymbol::named(u"search"_s, VXSymbol::Tone::Quiet), LeadingPosition);
    start->setText(VXInterfaceString(u"Search"_s));
    connect(start, &QAction::triggered, this, &VXSearchField::search);
    setPlace(VXInterfaceString(u"Search"_s));
    _clear->setText(VXInterfaceString(u"Clear"_s));
    _clear->setToolTip(_clear->text());
    _clear->setVisible(false);
    connect(_clear, &QAction::triggered, this, [this] {
        clear();
        search();
    });
    _count->setProperty("vxTone", u"quiet"_s);
    _count->setAttribute(Qt::WA_TransparentForMouseEvents);
    _count->hide();
    _rest.setSingleShot(true);
    _rest.setInterval(restInterval);
    _rest.callOnTimeout(this, &VXSearchField::search);
    connect(this, &QLineEdit::textChanged, this, [this](const QString &text) {
        _clear->setVisible(!text.isEmpty());
        if (text.isEmpty())
            setResultCount({});
        if (_rest.isActive())
            return;
        search();
        _rest.start();
    });
}

VXSearchField::~VXSearchField() = default;

void VXSearchField::setPlace(const QString &placeholder)
{
    setPlaceholderText(placeholder);
    setAccessibleName(placeholder);
}

void VXSearchField::search()
{
    const QString wanted = text().trimmed();
    if (std::exchange(_searchText, wanted) != wanted)
        Q_EMIT searchTextDidChange(wanted);
}

void VXSearchField::setResultCount(std::optional<qint64> count, bool isMore)
{
    QString words;
    if (count && !text().isEmpty())
        words = *count == 0 ? VXInterfaceString(u"Nothing found"_s)
                            : QLocale().toString(*count) + (isMore ? u"+"_s : QString());
    _count->setText(words);
    _count->setVisible(!words.isEmpty());
    setAccessibleDescription(count.value_or(0) == 0 || words.isEmpty() ? words
                                                                       : VXInterfaceString(u"%1 found"_s).arg(words));
    placeCount();
}

void VXSearchField::placeCount()
{
    _count->adjustSize();
    const bool isRightToLeft = layoutDirection() == Qt::RightToLeft;
    const int x = isRightToLeft ? buttonWidth + 4 : width() - buttonWidth - 4 - _count->width();
    _count->move(x, (height() - _count->height()) / 2);
    const int room = _count->isHidden() ? 0 : _count->width() + 4;
    setTextMargins(isRightToLeft ? room : 0, 0, isRightToLeft ? 0 : room, 0);
}

void VXSearchField::resizeEvent(QResizeEvent *event)
{
    QLineEdit::resizeEvent(event);
    placeCount();
}

// Escape clears the field first, whatever the window does with it.
bool VXSearchField::event(QEvent *event)
{
    const bool isAskedFor = event->type() == QEvent::ShortcutOverride && !text().isEmpty() &&
                            static_cast<QKeyEvent *>(event)->key() == Qt::Key_Escape;
    if (!isAskedFor)
        return QLineEdit::event(event);
    event->accept();
    return true;
}

void VXSearchField::keyPressEvent(QKeyEvent *event)
{
    switch (event->key()) {
    case Qt::Key_Escape:
        if (text().isEmpty()) {
            Q_EMIT escaped();
            event->ignore();
            return;
        }
        clear();
        return search();
    case Qt::Key_Return:
    case Qt::Key_Enter:
        search();
        Q_EMIT returnPressed();
        return;
    case Qt::Key_Down:
        search();
        Q_EMIT resultsWanted();
        return;
    default:
        QLineEdit::keyPressEvent(event);
    }
}
