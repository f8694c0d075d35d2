#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>

/** A code of four characters, the first one in the highest byte: identifies events, their parameters and types. */
using VXFourCharCode = quint32;

/** The code of four ASCII characters, such as VXCode("getd"). */
[[nodiscard]] constexpr VXFourCharCode VXCode(const char (&text)[5])
{
    VXFourCharCode code = 0;
    for (int index = 0; index < 4; ++index)
        code = code << 8 | static_cast<unsigned char>(text[index]);
    return code;
}

/** The four characters of a code (Latin-1). */
[[nodiscard]] VX_EXPORT QString VXStringFromCode(VXFourCharCode code);
/** The code of a text of four Latin-1 characters; 0 for other texts. Shorter texts are padded with blanks. */
[[nodiscard]] VX_EXPORT VXFourCharCode VXCodeFromString(const QString &text);

/** The codes used in events. */
struct VXEventCode
{
    // event classes and events
    static constexpr VXFourCharCode CoreSuite = VXCode("core");
    static constexpr VXFourCharCode RequiredSuite = VXCode("aevt");
    static constexpr VXFourCharCode GetData = VXCode("getd");
    static constexpr VXFourCharCode SetData = VXCode("setd");
    static constexpr VXFourCharCode Quit = VXCode("quit");
    static constexpr VXFourCharCode Answer = VXCode("ansr"); // of the required suite: a reply

    // parameters
    static constexpr VXFourCharCode DirectObject = VXCode("----");
    static constexpr VXFourCharCode Data = VXCode("data");
    static constexpr VXFourCharCode ErrorString = VXCode("errs");
    static constexpr VXFourCharCode ErrorNumber = VXCode("errn");

    // of object specifiers and comparisons
    static constexpr VXFourCharCode KeyForm = VXCode("form");
    static constexpr VXFourCharCode DesiredClass = VXCode("want");
    static constexpr VXFourCharCode KeyData = VXCode("seld");
    static constexpr VXFourCharCode Container = VXCode("from");
    static constexpr VXFourCharCode CompareOperator = VXCode("relo");
    static constexpr VXFourCharCode FirstObject = VXCode("obj1");
    static constexpr VXFourCharCode SecondObject = VXCode("obj2");
    static constexpr VXFourCharCode FormProperty = VXCode("prop");
    static constexpr VXFourCharCode FormTest = VXCode("test");
    static constexpr VXFourCharCode Equals = VXCode("=   ");

    // types
    static constexpr VXFourCharCode Null = VXCode("null");
    static constexpr VXFourCharCode Text = VXCode("utf8");
    static constexpr VXFourCharCode Boolean = VXCode("bool"); // one byte
    static constexpr VXFourCharCode Int32 = VXCode("long");
    static constexpr VXFourCharCode Int64 = VXCode("comp");
    static constexpr VXFourCharCode UInt64 = VXCode("ucom");
    static constexpr VXFourCharCode Real = VXCode("doub");
    static constexpr VXFourCharCode Date = VXCode("ldt "); // seconds since 1904, UTC
    static constexpr VXFourCharCode Bytes = VXCode("tdta");
    static constexpr VXFourCharCode Code = VXCode("type");
    static constexpr VXFourCharCode Enumeration = VXCode("enum");
    static constexpr VXFourCharCode List = VXCode("list");
    static constexpr VXFourCharCode Record = VXCode("reco");
    static constexpr VXFourCharCode Event = VXCode("aevt");
    static constexpr VXFourCharCode BundleIdentifier = VXCode("bund");
    static constexpr VXFourCharCode ObjectSpecifier = VXCode("obj ");
    static constexpr VXFourCharCode Comparison = VXCode("cmpd");
    static constexpr VXFourCharCode ExaminedObject = VXCode("exmn");

    /** In a record: a list of names and values in turn, for values that are named by texts. */
    static constexpr VXFourCharCode NamedValues = VXCode("usrf");
};
