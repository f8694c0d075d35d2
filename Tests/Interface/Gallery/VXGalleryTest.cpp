// What holds for every piece of the kit: each has a page in the gallery.

#include "VXBundle.h"
#include "VXGalleryPage.h"
#include "VXInterfaceTesting.h"
#include "VXSheet.h"
#include "VXTextLabel.h"

#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QRadioButton>
#include <QtWidgets/QToolButton>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

class VXGalleryTest : public VXHomeTest
{
protected:
    const QStringList languagesBefore = VXBundle::preferredLanguages();
    const QFont fontBefore = QApplication::font();

    ~VXGalleryTest() override
    {
        VXBundle::setPreferredLanguages(languagesBefore);
        QApplication::setFont(fontBefore);
        QApplication::setLayoutDirection(Qt::LeftToRight);
    }

    /** Each page, shown as wide as the gallery has it. */
    static void forEachPage(const std::function<void(QWidget &page)> &look)
    {
        for (const VXGalleryPage &each : VXGalleryPages()) {
            SCOPED_TRACE(each.name.toStdString());
            const std::unique_ptr<QWidget> page(each.make());
            VXShowActive(*page, {900, std::max(700, page->heightForWidth(900))});
            QCoreApplication::processEvents();
            look(*page);
        }
    }

    /** Of a page with a sheet on it, those of the sheet. */
    static QList<QWidget *> shownWidgets(const QWidget &page)
    {
        const auto *const sheet = page.findChild<VXSheet *>();
        QList<QWidget *> widgets = (sheet != nullptr ? sheet : &page)->findChildren<QWidget *>();
        widgets.removeIf([&page](const QWidget *widget) { return !widget->isVisible() || widget->window() != &page; });
        return widgets;
    }

    static bool takesTab(const QWidget &widget)
    {
        return (widget.focusPolicy() & Qt::TabFocus) != 0 && widget.isEnabled() && widget.focusProxy() == nullptr;
    }

    static QSize sizeOfText(const QAbstractButton &button)
    {
        const auto *const tool = qobject_cast<const QToolButton *>(&button);
        const bool isShown = !qobject_cast<QLineEdit *>(button.parentWidget()) &&
                             (tool == nullptr || tool->toolButtonStyle() != Qt::ToolButtonIconOnly);
        return isShown ? button.fontMetrics().size(Qt::TextShowMnemonic, button.text()) : QSize();
    }

    static std::string nameOf(const QWidget &widget)
    {
        return widget.metaObject()->className() + (" \"" + VXAccessibleName(widget).toStdString() + "\"");
    }
};

} // namespace

TEST_F(VXGalleryTest, EveryControlHasANameForAssistiveTechnology)
{
    forEachPage([](QWidget &page) {
        for (QWidget *const widget : shownWidgets(page)) {
            if (takesTab(*widget)) {
                EXPECT_FALSE(VXAccessibleName(*widget).isEmpty()) << widget->metaObject()->className();
            }
        }
    });
}

TEST_F(VXGalleryTest, TabReachesEveryControlAndComesRound)
{
    forEachPage([](QWidget &page) {
        QList<QWidget *> left = shownWidgets(page);
        const auto isOfGroup = [](const QWidget *widget) { // the arrows go from one to the next
            const auto *const radio = qobject_cast<const QRadioButton *>(widget);
            return radio != nullptr && !radio->isChecked();
        };
        left.removeIf([&](const QWidget *widget) { return !takesTab(*widget) || isOfGroup(widget); });
        if (QApplication::focusWidget() == nullptr)
            QTest::keyClick(&page, Qt::Key_Tab);
        const qsizetype most = 2 * left.size() + 2;
        for (qsizetype i = 0; i < most && !left.isEmpty() && QApplication::focusWidget() != nullptr; ++i) {
            left.removeAll(QApplication::focusWidget());
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        }
        for (const QWidget *const widget : std::as_const(left))
            ADD_FAILURE() << nameOf(*widget) << " is not reached";
    });
}

TEST_F(VXGalleryTest, NoTextIsCutOff)
{
    struct Case
    {
        const char *name;
        QString language;
        double fontScale;
        Qt::LayoutDirection direction;
    };
    const Case cases[] = {
        {"English", u"en"_s, 1, Qt::LeftToRight},
        {"German", u"de"_s, 1, Qt::LeftToRight},
        {"large fonts", u"de"_s, 1.4, Qt::LeftToRight},
        {"right to left", u"en"_s, 1, Qt::RightToLeft},
    };
    for (const Case &each : cases) {
        SCOPED_TRACE(each.name);
        VXBundle::setPreferredLanguages({each.language});
        QApplication::setLayoutDirection(each.direction);
        QFont font = fontBefore;
        font.setPointSizeF(font.pointSizeF() * each.fontScale);
        QApplication::setFont(font);
        forEachPage([](QWidget &page) {
            for (QWidget *const widget : shownWidgets(page)) {
                const auto *const label = qobject_cast<VXTextLabel *>(widget);
                const auto *const button = qobject_cast<QAbstractButton *>(widget);
                const bool isElided = widget->sizePolicy().horizontalPolicy() == QSizePolicy::Ignored;
                if ((label == nullptr && button == nullptr) || isElided)
                    continue;
                const bool wraps = label != nullptr && label->wordWrap();
                const QSize wanted = wraps              ? QSize(0, label->heightForWidth(widget->width()))
                                     : label != nullptr ? label->minimumSizeHint()
                                                        : sizeOfText(*button);
                EXPECT_GE(widget->width(), wanted.width()) << nameOf(*widget);
                EXPECT_GE(widget->height(), wanted.height()) << nameOf(*widget);
            }
        });
    }
}
