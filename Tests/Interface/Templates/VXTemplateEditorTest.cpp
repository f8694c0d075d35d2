#include "VXTemplateEditor.h"

#include "VXInterfaceTesting.h"

using namespace Qt::StringLiterals;

namespace {

class VXTemplateEditorTest : public VXHomeTest
{
protected:
    VXTemplateEditor editor{{{u"from"_s, u"Caller"_s, u"VXDisplayStringForPhonebookString"_s, u"Jane"_s},
                             {u"duration"_s, u"Duration"_s, {}, u"5 s"_s}}};

    void SetUp() override
    {
        VXShowActive(editor);
        editor.setFocus();
    }
    QString text() const { return editor.attributedTemplate().text(); }
};

} // namespace

TEST_F(VXTemplateEditorTest, FieldsAreTokensAndComeBackAsWritten)
{
    const QString written = u"Call from ${from|VXDisplayStringForPhonebookString}, 5 $$\n${other}"_s;
    editor.setAttributedTemplate(VXAttributedTemplate(written));
    EXPECT_EQ(text(), written);
    ASSERT_EQ(editor.tokens().size(), 2);
    EXPECT_EQ(editor.tokens()[0].label, u"Caller"_s);
    EXPECT_EQ(editor.tokens()[1].mood, VXTokenTextEdit::Mood::Unsure);
    EXPECT_EQ(editor.example(), u"Call from Jane, 5 $\n"_s);
}

TEST_F(VXTemplateEditorTest, AFieldIsWrittenOutOrInsertedAndTakenBack)
{
    VXType(editor, u"By ${duration}!"_s);
    EXPECT_EQ(text(), u"By ${duration}!"_s);
    EXPECT_EQ(editor.tokens().size(), 1);
    editor.insertField(u"from"_s);
    EXPECT_EQ(text(), u"By ${duration}!${from|VXDisplayStringForPhonebookString}"_s);
    VXPress(editor, Qt::Key_Backspace); // chooses it
    VXPress(editor, Qt::Key_Backspace);
    EXPECT_EQ(text(), u"By ${duration}!"_s);
    VXPress(editor, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(editor.tokens().size(), 2);
    VXPress(editor, Qt::Key_A, Qt::ControlModifier);
    VXPress(editor, Qt::Key_C, Qt::ControlModifier);
    VXPress(editor, Qt::Key_Delete);
    EXPECT_EQ(text(), QString());
    VXPress(editor, Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(editor.tokens().size(), 2);
}
