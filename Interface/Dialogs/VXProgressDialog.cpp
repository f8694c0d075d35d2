#include "VXProgressDialog.h"

#include "VXInterface.h"
#include "VXProgressWindow.h"
#include "VXTextLabel.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QLocale>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QPushButton>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 countsAfter = 5000; // ms: work that is nearly done needs no numbers
constexpr int steps = 1000;

} // namespace

VXProgressDialog::VXProgressDialog(QWidget *parent)
    : QDialog(parent), _title(new VXTextLabel({}, VXTextLabel::Role::Title)),
      _message(new VXTextLabel({}, VXTextLabel::Role::Secondary)),
      _share(new VXTextLabel({}, VXTextLabel::Role::Caption)), _bar(new QProgressBar),
      _stop(new QPushButton(VXInterfaceString(u"Stop"_s)))
{
    setModal(true);
    setWindowTitle(QCoreApplication::applicationName());
    _bar->setTextVisible(false);
    _stop->setAutoDefault(false);
    connect(_stop, &QPushButton::clicked, this, &VXProgressDialog::reject);

    auto *const column = new QVBoxLayout(this);
    column->setContentsMargins(24, 22, 24, 20);
    column->setSpacing(8);
    column->addWidget(_title);
    column->addWidget(_message);
    column->addSpacing(4);
    column->addWidget(_bar);
    auto *const row = new QHBoxLayout;
    row->addWidget(_share, 1);
    row->addWidget(_stop);
    column->addSpacing(6);
    column->addLayout(row);
    setFixedWidth(fontMetrics().averageCharWidth() * 62);
}

VXProgressDialog::~VXProgressDialog() = default;

void VXProgressDialog::showProgress(const VXProgressWindow &progress, qint64 elapsed)
{
    _title->setText(progress.title());
    setAccessibleName(progress.title());
    _message->setText(progress.message().isEmpty() ? u" "_s
                                                   // keeps the line, so that the window does not change its size
                                                   : progress.message());
    const bool isCounted = !progress.isIndeterminate() && progress.maxValue() > 0;
    const double share = isCounted ? std::clamp(progress.doubleValue() / progress.maxValue(), 0.0, 1.0) : 0.0;
    _bar->setRange(0, isCounted ? steps : 0);
    if (isCounted)
        _bar->setValue(static_cast<int>(share * steps));
    _bar->setAccessibleName(progress.title());
    _share->setText(isCounted && elapsed >= countsAfter
                        ? QLocale().toString(static_cast<int>(share * 100)) + QLocale().percent().prepend(QChar::Nbsp)
                        : QString());
}

void VXProgressDialog::reject()
{
    if (!_stop->isEnabled())
        return;
    _stop->setEnabled(false);
    _stop->setText(VXInterfaceString(u"Stopping"_s));
    if (_stopHandler)
        _stopHandler(); // may delete this window
}
