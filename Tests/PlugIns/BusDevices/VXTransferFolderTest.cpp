#include "VXTransferFolder.h"

#include "VXTesting.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <optional>

using namespace Qt::StringLiterals;

using VXTransferFolderTest = VXHomeTest;

TEST_F(VXTransferFolderTest, IsPrivateAndGoesWithAllInIt)
{
    std::optional<VXTransferFolder> folder(std::in_place);
    const VXTransferFolder other;
    ASSERT_FALSE(folder->path().isNull());
    EXPECT_NE(folder->path(), other.path());
    EXPECT_EQ(QFile::permissions(folder->path()) &
                  (QFile::ReadGroup | QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther),
              QFile::Permissions());
    QFile file(folder->filePath(u"card.vcf"_s));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    const QString path = folder->path();
    folder.reset();
    EXPECT_FALSE(QFileInfo::exists(path));
    EXPECT_TRUE(QFileInfo::exists(other.path()));
}

TEST_F(VXTransferFolderTest, RemovesWhatAKilledProcessLeft)
{
    const QString all = path(u".cache/com.halvern.VNX2/Transfers"_s);
    writeFile(u".cache/com.halvern.VNX2/Transfers/dead/x/card.vcf"_s, "BEGIN:VCARD");
    writeFile(u".cache/com.halvern.VNX2/Transfers/dead.alive"_s, "");
    const VXTransferFolder folder;
    ASSERT_TRUE(folder.path().startsWith(all)) << folder.path().toStdString();
    EXPECT_FALSE(QFileInfo::exists(all + "/dead"_L1));
    EXPECT_FALSE(QFileInfo::exists(all + "/dead.alive"_L1));
}
