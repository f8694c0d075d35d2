// The text is marked by xclip, which stands for the program in front.

#include "VXDesktopServices.h"

#include "VXTesting.h"
#include "VXTestProcess.h"

#include <QtCore/QProcess>

#include <csignal>
#include <memory>

using namespace Qt::StringLiterals;

class VXX11SelectedTextTest : public VXHomeTest
{
protected:
    VXTestDisplay display;
    std::unique_ptr<QProcess> owner;

    void SetUp() override { ASSERT_TRUE(display.isUp()) << "the package xvfb is missing"; }

    /** Marks a text, and keeps it so until the next one. */
    void select(const QByteArray &text, const QString &target = u"UTF8_STRING"_s)
    {
        auto xclip = std::make_unique<QProcess>();
        xclip->start(u"xclip"_s, {u"-quiet"_s, u"-i"_s, u"-selection"_s, u"primary"_s, u"-t"_s, target});
        xclip->write(text);
        xclip->closeWriteChannel();
        xclip->setReadChannel(QProcess::StandardError); // where it says that it is ready
        EXPECT_TRUE(xclip->waitForReadyRead()) << "the package xclip is missing";
        if (owner)
            owner->waitForFinished(); // it ends when it has lost the selection
        owner = std::move(xclip);
    }
    void TearDown() override
    {
        if (owner) {
            owner->kill();
            owner->waitForFinished();
        }
    }
    static std::string read()
    {
        QString reason;
        const QString text = VXReadSelectedText(&reason);
        return text.isNull() ? "none: " + reason.toStdString() : text.toStdString();
    }
};

TEST_F(VXX11SelectedTextTest, IsWhatWasMarkedLast)
{
    EXPECT_EQ(read(), "none: no text is selected");
    struct Row
    {
        QByteArray text;
        QString target;
        std::string expected;
    };
    const Row rows[] = {
        {"call Jäne at +1 555 0100\n", u"UTF8_STRING"_s, "call Jäne at +1 555 0100\n"},
        {"555\xe4", u"STRING"_s, "555ä"}, // of a program that knows no Unicode
        {"<b>", u"text/html"_s, "none: what is selected is no text, or too much"},
        {QByteArray(200000, 'x'), u"UTF8_STRING"_s, "none: what is selected is no text, or too much"},
        {"", u"UTF8_STRING"_s, ""},
    };
    for (const Row &row : rows) {
        select(row.text, row.target);
        std::string found; // it takes the selection some time after it says so
        EXPECT_TRUE(VXRunUntil([&] { return (found = read()) == row.expected; })) << found.substr(0, 100);
    }
}

TEST_F(VXX11SelectedTextTest, DoesNotWaitForEverForAProgramThatHangs)
{
    select("555-0100");
    ASSERT_TRUE(VXRunUntil([] { return read() == "555-0100"; }));
    ::kill(static_cast<pid_t>(owner->processId()), SIGSTOP);
    EXPECT_EQ(read(), "none: no text is selected");
    ::kill(static_cast<pid_t>(owner->processId()), SIGCONT);
}

TEST_F(VXX11SelectedTextTest, SaysWhenThereIsNoDisplay)
{
    qputenv("DISPLAY", ":no");
    EXPECT_EQ(read(), "none: there is no X display to read the selection from");
}
