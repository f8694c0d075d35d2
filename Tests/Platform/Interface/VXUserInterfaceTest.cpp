#include "VXMainThread.h"
#include "VXScriptedUserInterface.h"
#include "VXTerminalUserInterface.h"
#include "VXTesting.h"

#include <QtCore/QDir>
#include <QtCore/QTimer>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <pty.h>
#include <thread>
#include <tuple>
#include <unistd.h>

using namespace Qt::StringLiterals;
using Policy = VXTerminalUserInterface::Policy;

namespace {

// A pseudo-terminal: the test is the person at the keyboard.
class Terminal
{
public:
    Terminal()
    {
        EXPECT_EQ(::openpty(&_keyboard, &_program, nullptr, nullptr, nullptr), 0);
        ::fcntl(_keyboard, F_SETFL, O_NONBLOCK);
    }
    ~Terminal()
    {
        ::close(_keyboard);
        ::close(_program);
    }

    int descriptor() const { return _program; }

    void type(const QByteArray &keys) const
    {
        EXPECT_EQ(::write(_keyboard, keys.constData(), static_cast<std::size_t>(keys.size())), keys.size());
    }

    // What was shown since the last time, typed keys included, for a terminal echoes them.
    QString screen() const
    {
        QByteArray text;
        std::array<char, 4096> buffer;
        for (ssize_t count = 0; (count = ::read(_keyboard, buffer.data(), buffer.size())) > 0;)
            text.append(buffer.data(), count);
        return QString::fromUtf8(text).remove(u'\r');
    }

private:
    int _keyboard = -1;
    int _program = -1;
};

VXAlert mergeAlert()
{
    return {u"Merge imported data with existing data?"_s,
            u"12 persons"_s,
            u"Merge"_s,
            u"Cancel"_s,
            u"Replace"_s,
            u"Keep a copy"_s};
}

class VXUserInterfaceTest : public VXHomeTest
{
protected:
    Terminal terminal;
    VXTerminalUserInterface asking{Policy::Ask, terminal.descriptor(), terminal.descriptor()};
};

} // namespace

TEST_F(VXUserInterfaceTest, AlertOnTerminalTakesNumbersAndBeginnings)
{
    const std::tuple<QByteArray, VXAlertButton, bool> cases[] = {
        {"\n\n", VXAlertButton::Default, false},
        {"y\n2\n", VXAlertButton::Alternate, true},
        {"n\nrepl\n", VXAlertButton::Other, false},
        {"what\nY\n9\n3\n", VXAlertButton::Other, true},
        {"\x04\x04", VXAlertButton::Alternate, false},
        {"y\nx\n\x04", VXAlertButton::Alternate, true},
        {"  y  \n CANCEL \n", VXAlertButton::Alternate, true},
    };
    for (const auto &[typed, button, isChecked] : cases) {
        terminal.type(typed);
        const VXAlertResult result = asking.runAlert(mergeAlert());
        EXPECT_EQ(result.button, button) << typed.toStdString();
        EXPECT_EQ(result.isChecked, isChecked) << typed.toStdString();
    }
    const QString screen = terminal.screen();
    EXPECT_TRUE(screen.contains(u"12 persons"_s));
    EXPECT_TRUE(screen.contains(u"  3) Replace\n"_s));
}

TEST_F(VXUserInterfaceTest, WithoutQuestionNobodyIsAsked)
{
    VXAlert notice;
    notice.message = u"Done\x1b[2J."_s;
    EXPECT_EQ(asking.runAlert(notice).button, VXAlertButton::Default);
    EXPECT_EQ(terminal.screen(), u"Done[2J.\n"_s); // control characters do not steer the terminal
    asking.presentError(VXError::platformError(VXPlatformErrorCode::FileRead, u"No file"_s, u"Look again."_s));
    EXPECT_EQ(terminal.screen(), u"No file\nLook again.\n"_s);
}

TEST_F(VXUserInterfaceTest, PolicyAnswersWhereNobodyIsAsked)
{
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    VXSavePanel save{u"Save"_s, path(), u"out"_s, {}};
    const auto run = [&](Policy policy, VXAlertButton button, const QString &saved) {
        VXTerminalUserInterface userInterface(policy, ends[0], ends[1]);
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ(userInterface.runAlert(mergeAlert()).button, button);
        EXPECT_FALSE(userInterface.runOpenPanel({}).isOk());
        EXPECT_EQ(userInterface.runSavePanel(save).path, saved);
        std::array<char, 8192> buffer;
        const ssize_t count = ::read(ends[0], buffer.data(), buffer.size());
        return QString::fromUtf8(buffer.data(), count);
    };
    EXPECT_FALSE(run(Policy::Cancel, VXAlertButton::Alternate, {}).contains(u"terminal"_s));
    EXPECT_TRUE(
        run(Policy::Default, VXAlertButton::Default, path(u"out"_s)).contains(u"-> Merge, and not: Keep a copy\n"_s));
    EXPECT_EQ(run(Policy::Ask, VXAlertButton::Alternate, {}).count(u"There is no terminal"_s), 1);
    writeFile(u"out"_s, "kept");
    run(Policy::Default, VXAlertButton::Default, {}); // nothing is replaced unasked
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST_F(VXUserInterfaceTest, OpenPanelAsksUntilThePathFits)
{
    writeFile(u"a.txt"_s, "");
    QDir(path()).mkpath(u"Contacts.vxdatastore"_s);
    VXOpenPanel panel;
    panel.directory = path();
    panel.packageExtensions = QStringList{u"vxdatastore"_s};
    panel.shouldShowFilename = [](const QString &file) { return file.endsWith(u".vxdatastore"_s); };
    terminal.type("missing\n.\na.txt\nContacts.vxdatastore\n");
    EXPECT_EQ(asking.runOpenPanel(panel).path, path(u"Contacts.vxdatastore"_s));
    const QString screen = terminal.screen();
    EXPECT_TRUE(screen.contains(u"No such file: "_s + path(u"missing"_s)));
    EXPECT_EQ(screen.count(u"Not to be chosen here"_s), 2);

    panel.canChooseDirectories = true;
    terminal.type("~/\n\n");
    EXPECT_EQ(asking.runOpenPanel(panel).path, path());
    EXPECT_TRUE(asking.runOpenPanel(panel).path.isNull());
}

TEST_F(VXUserInterfaceTest, SavePanelAsksBeforeReplacing)
{
    writeFile(u"there"_s, "");
    const VXSavePanel panel{u"Export"_s, path(), u"proposed"_s, u"Validate"_s, true};
    terminal.type("n\n\n");
    VXPanelResult result = asking.runSavePanel(panel);
    EXPECT_EQ(result.path, path(u"proposed"_s));
    EXPECT_FALSE(result.isChecked);
    terminal.type("\nthere\nn\nthere\ny\n");
    result = asking.runSavePanel(panel);
    EXPECT_EQ(result.path, path(u"there"_s));
    EXPECT_TRUE(result.isChecked);
    terminal.type("\n\x04");
    EXPECT_FALSE(asking.runSavePanel(panel).isOk());
}

TEST_F(VXUserInterfaceTest, MainThreadIsServedWhileTheUserThinks)
{
    bool served = false;
    std::thread worker([&] {
        EXPECT_TRUE(VXMainThread::performAndWait([&] { served = true; }));
        terminal.type("n\nr\n");
    });
    EXPECT_EQ(asking.runAlert(mergeAlert()).button, VXAlertButton::Other);
    worker.join();
    EXPECT_TRUE(served);
    QString refusal;
    std::thread([&] { refusal = VXReasonOfAssertion([&] { std::ignore = asking.runAlert(mergeAlert()); }); }).join();
    EXPECT_FALSE(refusal.isNull());
}

TEST_F(VXUserInterfaceTest, ProgressIsDrawnOverAndWorkEndsIt)
{
    const auto window = asking.makeProgressWindow(u"Upgrading"_s);
    window->setMaxValue(4);
    std::thread worker([&] {
        EXPECT_TRUE(VXMainThread::performAndWait([&] {
            window->setMessage(u"Persons"_s);
            window->setDoubleValue(3);
        }));
        VXMainThread::perform([&] { window->ok(); });
    });
    EXPECT_EQ(window->runModal(), VXProgressWindow::Result::Ok);
    worker.join();
    const QString screen = terminal.screen();
    EXPECT_TRUE(screen.contains(u"[------------------------]   0 %  Upgrading"_s));
    EXPECT_TRUE(screen.contains(u"[##################------]  75 %  Upgrading: Persons"_s));
    EXPECT_TRUE(screen.endsWith(u"\x1b[K"_s)); // nothing of it is left
    window->cancel();
    EXPECT_EQ(window->runModal(), VXProgressWindow::Result::Cancelled); // cancelled before it was shown
}

TEST_F(VXUserInterfaceTest, InterruptIsTheUsersCancel)
{
    const auto window = asking.makeProgressWindow(u"Copying"_s);
    int asked = 0;
    window->setCancelHandler([&] {
        if (++asked == 2)
            window->cancel();
        else
            std::raise(SIGINT); // the first one is not yet enough
    });
    QTimer::singleShot(0, [] { std::raise(SIGINT); });
    EXPECT_EQ(window->runModal(), VXProgressWindow::Result::Cancelled);
    EXPECT_EQ(asked, 2);
    struct sigaction after = {};
    ::sigaction(SIGINT, nullptr, &after);
    EXPECT_EQ(after.sa_handler, SIG_DFL); // and then Ctrl-C ends the program again
}

TEST(VXScriptedUserInterfaceTest, AnswersInOrderAndRecords)
{
    VXScriptedUserInterface user;
    user.answerAlert(VXAlertButton::Other, true);
    user.answerAlert(VXAlertButton::Alternate);
    user.answerSavePanel(u"/tmp/x"_s);
    user.cancelNextProgressWindow();
    EXPECT_EQ(user.runAlert(mergeAlert()).button, VXAlertButton::Other);
    EXPECT_FALSE(user.runAlert(mergeAlert()).isChecked);
    EXPECT_EQ(user.runSavePanel({}).path, u"/tmp/x"_s);
    const auto window = user.makeProgressWindow(u"Copying"_s);
    window->setMessage(u"one"_s);
    EXPECT_EQ(window->runModal(), VXProgressWindow::Result::Cancelled);
    EXPECT_EQ(user.progressWindows().front()->messages, QStringList(u"one"_s));
    EXPECT_EQ(user.progressWindows().front()->result, VXProgressWindow::Result::Cancelled);
    EXPECT_EQ(user.unusedAnswers(), 0U);

    VXAlert notice;
    notice.message = u"Saved"_s;
    EXPECT_EQ(user.runAlert(notice).button, VXAlertButton::Default);
    EXPECT_EQ(user.alerts().back().defaultButton, u"OK"_s);
}

TEST(VXScriptedUserInterfaceTest, UnansweredOrImpossibleFails)
{
    VXScriptedUserInterface user;
    EXPECT_EQ(VXReasonOfAssertion([&] { static_cast<void>(user.runAlert(mergeAlert())); }),
              u"Unanswered alert: Merge imported data with existing data?"_s);
    EXPECT_EQ(VXReasonOfAssertion([&] { static_cast<void>(user.runOpenPanel({})); }),
              u"Unanswered open panel: (null)"_s);
    user.answerAlert(VXAlertButton::Other);
    VXAlert alert = mergeAlert();
    alert.otherButton = QString();
    EXPECT_TRUE(VXReasonOfAssertion([&] {
                    static_cast<void>(user.runAlert(alert));
                }).startsWith(u"Alert without that button"_s));
    user.answerOpenPanel(u"/does/not/exist"_s);
    EXPECT_EQ(VXReasonOfAssertion([&] { static_cast<void>(user.runOpenPanel({})); }),
              u"Not to be chosen: /does/not/exist"_s);
}
