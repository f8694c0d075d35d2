#include "VXKeyCombination.h"

#include "VXHotKeyService.h"
#include "VXTesting.h"

#include <linux/input-event-codes.h>

using namespace Qt::StringLiterals;

TEST(VXKeyCombinationTest, ReadsAndWritesNames)
{
    constexpr quint32 ctrlAlt = VXModifierControl | VXModifierOption;
    const std::tuple<QString, VXKeyCombination, QString> rows[] = {
        {u"Ctrl+Alt+D"_s, {KEY_D, ctrlAlt}, u"Ctrl+Alt+D"_s},
        {u" alt + control + d "_s, {KEY_D, ctrlAlt}, u"Ctrl+Alt+D"_s},
        {u"super+shift+pageup"_s, {KEY_PAGEUP, VXModifierShift | VXModifierCommand}, u"Shift+Super+PageUp"_s},
        {u"AudioPlay"_s, {KEY_PLAYPAUSE, 0}, u"AudioPlay"_s},
        {u"Esc"_s, {KEY_ESC, 0}, u"Escape"_s},
        {u"CapsLock+F24"_s, {KEY_F24, VXModifierCapsLock}, u"CapsLock+F24"_s},
        {u"Key250"_s, {250, 0}, u"Key250"_s},
    };
    for (const auto &[text, combination, written] : rows) {
        EXPECT_EQ(VXKeyCombination::fromText(text), combination) << text.toStdString();
        EXPECT_EQ(combination.text(), written);
    }
    EXPECT_TRUE(VXKeyCombination().text().isNull());
}

TEST(VXKeyCombinationTest, TellsWhatIsWrong)
{
    for (const QString &text : {u""_s, u"Ctrl+"_s, u"Ctrl"_s, u"D+Ctrl"_s, u"Hyper+D"_s, u"Ctrl++D"_s, u"Key0"_s,
                                u"Key"_s, u"Key99999"_s, u"Key-1"_s, u"Ctrl+DD"_s}) {
        QString reason;
        EXPECT_FALSE(VXKeyCombination::fromText(text, &reason)) << text.toStdString();
        EXPECT_FALSE(reason.isEmpty());
    }
}

TEST(VXKeyCombinationTest, TranslatesFlagsForServices)
{
    EXPECT_EQ(VXHotKeyModifiersFromFlags(0x120000), 0x300U);
    EXPECT_EQ(VXHotKeyModifiersFromFlags(0x1f0000), 0x1f00U);
    EXPECT_EQ(VXHotKeyModifiersFromFlags(0xffe0ffffU), 0U); // other bits are ignored
}
