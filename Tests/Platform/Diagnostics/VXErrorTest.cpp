#include "VXError.h"
#include "VXException.h"
#include "VXTesting.h"

using namespace Qt::StringLiterals;

TEST(VXError, NoErrorIsTellableFromAnError)
{
    const VXError none;
    EXPECT_TRUE(none.isNull());
    EXPECT_TRUE(none.localizedDescription().isNull());
    EXPECT_FALSE(VXError(u"domain"_s, 0).isNull()) << "code 0 is an error of its domain";
}

TEST(VXError, DescribesItselfWithoutATextOfItsOwn)
{
    EXPECT_EQ(VXError(u"domain"_s, 34).localizedDescription(),
              u"The operation could not be completed. (domain error 34.)"_s);
    const VXError error =
        VXError::platformError(VXPlatformErrorCode::FileRead, u"Cannot read."_s, u"Try again."_s, u"/a b"_s);
    EXPECT_EQ(error.description(), u"Cannot read. Try again. \"/a b\" (VXPlatformErrorDomain, 256)"_s);
}

TEST(VXException, AFailedAssertionCarriesItsReasonAcrossLibraries)
{
    int reasonsMade = 0;
    const auto reason = [&reasonsMade] {
        ++reasonsMade;
        return u"theIdentifier can not be nil: (null)"_s;
    };
    VXAssert(true, reason());
    EXPECT_EQ(reasonsMade, 0);
    try {
        VXAssert(false, reason());
        FAIL();
    } catch (const VXException &exception) {
        EXPECT_EQ(exception.name(), u"VXAssertionException"_s);
        EXPECT_STREQ(exception.what(), "theIdentifier can not be nil: (null)");
    }
}
