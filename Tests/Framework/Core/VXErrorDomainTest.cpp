#include "VXErrorDomain.h"
#include "VXTesting.h"

using namespace Qt::StringLiterals;

TEST(VXErrorDomain, MakesErrorsWithAndWithoutASuggestion)
{
    const VXError plain = VXMakeError(u"Not a recognized data file."_s);
    EXPECT_EQ(plain.domain(), u"VXErrorDomain"_s);
    EXPECT_EQ(plain.code(), 1);
    EXPECT_EQ(plain.userInfo().size(), 1);

    const VXError helpful = VXMakeError(u"Unable to install plugin"_s, "%d %s", 3, "files");
    EXPECT_EQ(helpful.localizedRecoverySuggestion(), u"3 files"_s);
    EXPECT_EQ(helpful.userInfo().size(), 2);
    EXPECT_EQ(VXMakeFileError(u"Could not copy"_s, u"disk full"_s, u"/a"_s).localizedRecoverySuggestion(),
              u"disk full"_s);
    EXPECT_EQ(VXMakeFileError(u"Could not copy"_s, QString(), u"/a"_s).userInfo().size(), 2);
}

TEST(VXErrorDomain, AMissingDescriptionDropsTheSuggestionToo)
{
    const VXError error = VXMakeError(QString(), "%d", 3);
    EXPECT_FALSE(error.isNull());
    EXPECT_TRUE(error.userInfo().isEmpty());
}
