// What a user of the program with windows waits for, over large stores: a letter typed to the painted answer, and frames of a list
// that is scrolled. Times are what a clock says.

#include "BenchmarkModels.h"
#include "DesktopHome.h"
#include "VXRatioReporter.h"

#include "VXConversationList.h"
#include "VXDesktopText.h"
#include "VXFolders.h"
#include "VXFramework.h"
#include "VXInitializeInterface.h"
#include "VXInterface.h"
#include "VXListPane.h"
#include "VXMainWindow.h"
#include "VXSearchField.h"
#include "VXStoreListModel.h"

#include <benchmark/benchmark.h>
#include <QtCore/QElapsedTimer>
#include <QtCore/QTemporaryDir>
#include <QtWidgets/QApplication>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QListView>
#include <QtWidgets/QScrollBar>

#include <algorithm>
#include <functional>

using namespace Qt::StringLiterals;

namespace {

void wait(const std::function<bool()> &isDone)
{
    while (!isDone())
        QApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents, 10);
}

double millisecondsOf(const QElapsedTimer &clock)
{
    return double(clock.nsecsElapsed()) / 1e6;
}

// A letter more each time. The time ends when rows of the answer are painted, or that there are none; "whole" when it is the whole
// answer, or fills a page.
void type(benchmark::State &state, const QString &name, const QString &words)
{
    VXMainWindow &window = DesktopHome::shared().window();
    window.showSection(name);
    auto &pane = *window.section(name)->findChild<VXListPane *>();
    QAbstractItemModel &model = *pane.list()->model();
    int answers = 0;
    const auto count = [&] { ++answers; };
    QObject guard;
    auto *const conversations = qobject_cast<VXConversationList *>(&model);
    if (conversations != nullptr)
        QObject::connect(conversations, &VXConversationList::didRead, &guard, count);
    else
        QObject::connect(qobject_cast<VXStoreListModel *>(&model), &VXStoreListModel::didRead, &guard, count);
    const auto isWhole = [&] { return conversations == nullptr || !conversations->isReading(); };
    const auto clear = [&] {
        pane.search()->clear();
        wait([&, before = answers] { return answers > before && model.rowCount() > 0 && isWhole(); });
    };
    wait([&] { return model.rowCount() > 0; });
    double longest = 0;
    double whole = 0;
    int letter = 0;
    for (auto _ : state) {
        if (letter == words.size()) {
            clear();
            letter = 0;
        }
        QElapsedTimer clock;
        clock.start();
        const int before = answers;
        pane.search()->insert(words.at(letter++));
        wait([&] {
            return answers > before &&
                   (model.rowCount() > 0 ? model.index(0, 0).data(VXStoreListModel::ValueRole).isValid() : isWhole());
        });
        pane.repaint();
        const double painted = millisecondsOf(clock);
        state.SetIterationTime(painted / 1000);
        longest = std::max(longest, painted);
        wait(isWhole);
        whole = std::max(whole, millisecondsOf(clock));
    }
    state.counters["longest"] = longest;
    state.counters["whole"] = whole;
    clear();
}

// The inbox, somewhere else each time, to the painted page; "frame" is the longest that the thread of the windows took to paint at
// once what is there.
void scroll(benchmark::State &state)
{
    VXMainWindow &window = DesktopHome::shared().window();
    window.showSection(u"messages"_s);
    QWidget &section = *window.section(u"messages"_s);
    const auto choices = section.findChildren<QComboBox *>(); // of a phone, too
    QComboBox &folders = **std::ranges::find(choices, VXText("Folder"), &QWidget::accessibleName);
    int inbox = -1;
    wait([&] { return (inbox = folders.findText(VXText("Inbox"))) > 0; });
    folders.setCurrentIndex(inbox);
    Q_EMIT folders.activated(inbox);
    QListView &list = *section.findChild<VXListPane *>()->list();
    wait([&] { return list.model()->rowCount() == DesktopHome::messageCount; });
    double longest = 0;
    int position = 0;
    for (auto _ : state) {
        position = (position + 20'000'011) % list.verticalScrollBar()->maximum();
        QElapsedTimer clock;
        clock.start();
        list.verticalScrollBar()->setValue(position);
        list.viewport()->repaint();
        longest = std::max(longest, millisecondsOf(clock));
        wait([&] { return list.indexAt({20, 20}).data(VXStoreListModel::ValueRole).isValid(); });
        list.viewport()->repaint();
        state.SetIterationTime(double(clock.nsecsElapsed()) / 1e9);
    }
    state.counters["frame"] = longest;
    folders.setCurrentIndex(0);
    Q_EMIT folders.activated(0);
}

} // namespace

BENCHMARK_CAPTURE(type, contacts, u"contacts"_s, u"mitzberg"_s)
    ->Name("TypeALetter/contacts")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(8);
BENCHMARK_CAPTURE(type, messages, u"messages"_s, u"99128"_s)
    ->Name("TypeALetter/messages")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);
BENCHMARK_CAPTURE(type, rare, u"messages"_s, u"zebra"_s)
    ->Name("TypeALetter/messages with few answers")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);
BENCHMARK(scroll)->Name("ScrollAMillion")->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(100);

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
    const QTemporaryDir home; // for preferences of this program: never the user's own
    VXSetHomeFolder(home.path());
    const QApplication application(argc, argv);
    VXInitializeFramework();
    VXInitializeInterface();
    VXInitializeInterfaceKit();
    return VXRunBenchmarks(argc, argv);
}
