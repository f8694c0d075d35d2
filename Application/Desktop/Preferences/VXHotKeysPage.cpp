#include "VXPreferencePages.h"

#include "VXDesktopText.h"
#include "VXHotKey.h"
#include "VXHotKeyManager.h"
#include "VXHotKeyRecorder.h"
#include "VXHotKeyService.h"
#include "VXTextLabel.h"

#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QFrame>

using namespace Qt::StringLiterals;

namespace {

/** The commands that can have hot keys, each with its combination. */
class HotKeysPage : public QWidget
{
public:
    HotKeysPage() : _problem(new VXTextLabel({}, VXTextLabel::Role::Body)), _rows(new QVBoxLayout)
    {
        auto *const column = new QVBoxLayout(this);
        column->setContentsMargins(28, 24, 28, 24);
        column->setSpacing(14);
        column->addWidget(new VXTextLabel(VXText("Hot keys"), VXTextLabel::Role::Headline));
        column->addWidget(new VXTextLabel(
            VXText("Key combinations that work whatever program is in front. Click one and press the keys."),
            VXTextLabel::Role::Secondary));
        column->addWidget(_problem);
        column->addLayout(_rows);
        column->addStretch();
        _problem->setProperty("vxTone", u"warning"_s);
        fill();
    }

private:
    // Without the details that others tell of it, in parentheses, it is one of a few texts.
    static QString textOf(const QString &problem)
    {
        const QString reason = problem.section(u" ("_s, 0, 0);
        return VXText(reason.toUtf8().constData()) + problem.sliced(reason.size());
    }

    void fill()
    {
        const QString problem = _manager.service().problem();
        _problem->setText(VXText("Hot keys do not work here: %1").arg(textOf(problem)));
        _problem->setVisible(!problem.isEmpty());
        const auto hotKeys = _manager.hotKeys();
        for (auto each = hotKeys.cbegin(); each != hotKeys.cend(); ++each)
            _rows->addWidget(makeRow(each.key(), (*each)->title()));
        if (hotKeys.isEmpty())
            _rows->addWidget(
                new VXTextLabel(VXText("No plugin offers a command for a hot key."), VXTextLabel::Role::Secondary));
    }

    QWidget *makeRow(const QString &identifier, const QString &title)
    {
        auto *const card = new QFrame;
        card->setProperty("vxSurface", u"card"_s);
        auto *const row = new QHBoxLayout(card);
        row->setContentsMargins(16, 8, 8, 8);
        auto *const recorder = new VXHotKeyRecorder(identifier);
        recorder->setAccessibleName(title);
        row->addWidget(new VXTextLabel(title, VXTextLabel::Role::Body), 1);
        row->addWidget(recorder);
        return card;
    }

    VXHotKeyManager &_manager = VXHotKeyManager::sharedHotKeyManager();
    VXTextLabel *_problem;
    QVBoxLayout *_rows;
};

} // namespace

QWidget *VXMakeHotKeysPage()
{
    return new HotKeysPage;
}
