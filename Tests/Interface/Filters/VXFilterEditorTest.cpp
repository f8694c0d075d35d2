#include "VXFilterEditor.h"

#include "VXInterfaceTesting.h"

#include <QtWidgets/QComboBox>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QToolButton>

using namespace Qt::StringLiterals;

namespace {

QList<VXFilterField> fields()
{
    return {{u"from"_s, u"Caller"_s},
            {u"duration"_s, u"Duration"_s, VXFilterField::Type::Duration},
            {u"date"_s, u"Time"_s, VXFilterField::Type::Date},
            {u"missed"_s, u"Missed"_s, VXFilterField::Type::Boolean}};
}

} // namespace

TEST(VXFilterEditorTest, WhatItShowsSaysTheSame)
{
    const struct
    {
        const char *predicate;
        int rows;
        const char *words; // nullptr: not looked at
    } cases[] = {
        {"TRUEPREDICATE", 0, "Everything passes"},
        {"from CONTAINS[cd] \"Jane\"", 1, "Caller contains \"Jane\""},
        {"from == \"Jane\"", 1, "Caller is \"Jane\""}, // case counts, and stays so
        {"from CONTAINS[cd] \"Jane\" AND duration >= 10", 2,
         "All of: Caller contains \"Jane\"; Duration is at least 10 s"},
        {"from IN[cd] {\"a\", \"b\"} OR missed == YES", 2, "Any of: Caller is one of \"a\", \"b\"; Missed is yes"},
        {"NOT (missed == YES OR duration BETWEEN {1, 65})", 2,
         "None of: Missed is yes; Duration is between 1 s and 1 min\u00a05 s"},
        {"NOT from CONTAINS[cd] \"x\"", 1, "None of: Caller contains \"x\""},
        {"missed == YES AND (duration > 3 OR duration < 1)", 2, nullptr}, // a group
        {"ANY to == \"x\" AND missed == NO", 2, nullptr},                 // what no row can say
        {"unknown == 3", 1, nullptr},                                     // of a field that nobody knows
    };
    for (const auto &each : cases) {
        SCOPED_TRACE(each.predicate);
        const auto predicate = VXPredicate::predicateWithFormat(QString::fromUtf8(each.predicate));
        ASSERT_TRUE(predicate);
        VXFilterEditor editor(fields());
        editor.setPredicate(*predicate);
        EXPECT_EQ(editor.rowCount(), each.rows);
        const auto made = editor.predicate();
        ASSERT_TRUE(made);
        for (const QVariantMap &object :
             {QVariantMap{{u"from"_s, u"Jane"_s}, {u"duration"_s, 12}, {u"missed"_s, false}},
              QVariantMap{{u"from"_s, u"jane x"_s}, {u"duration"_s, 2}, {u"missed"_s, true}, {u"unknown"_s, 3}},
              QVariantMap{
                  {u"from"_s, u"a"_s}, {u"duration"_s, 0.5}, {u"missed"_s, true}, {u"to"_s, QStringList{u"x"_s}}}})
            EXPECT_EQ(made->evaluateWithObject(object), predicate->evaluateWithObject(object));
        if (each.words != nullptr) {
            EXPECT_EQ(editor.words(), QString::fromUtf8(each.words));
        }
    }
}

TEST(VXFilterEditorTest, ConditionsAreWrittenByKeys)
{
    VXFilterEditor editor(fields());
    VXShowActive(editor, {700, 300});
    int changes = 0;
    QObject::connect(&editor, &VXFilterEditor::predicateDidChange, [&] { ++changes; });
    editor.addRow();
    EXPECT_EQ(editor.predicate(), std::nullopt); // has no value yet
    auto *const value = VXChild<QLineEdit>(editor);
    value->setFocus();
    VXType(*value, u"Jane"_s);
    EXPECT_GT(changes, 4);
    EXPECT_EQ(editor.predicate(), VXPredicate::predicateWithFormat(u"from CONTAINS[cd] \"Jane\""_s));

    QList<QComboBox *> boxes = editor.findChildren<QComboBox *>();
    boxes.removeIf([](const QComboBox *box) { return box->accessibleName() != "Field"_L1; });
    ASSERT_EQ(boxes.size(), 1);
    VXPress(*boxes.first(), Qt::Key_Down); // the duration: "Jane" is no number
    EXPECT_EQ(editor.predicate(), std::nullopt);
    auto *const number = VXChild<QLineEdit>(editor);
    number->clear();
    VXType(*number, u"12"_s);
    EXPECT_EQ(editor.predicate(), VXPredicate::predicateWithFormat(u"duration >= 12"_s));

    for (QToolButton *const button : editor.findChildren<QToolButton *>()) {
        if (button->accessibleName() == "Remove this condition"_L1)
            VXPress(*button, Qt::Key_Space);
    }
    EXPECT_EQ(editor.rowCount(), 0);
    EXPECT_EQ(editor.predicate(), VXPredicate());
}
