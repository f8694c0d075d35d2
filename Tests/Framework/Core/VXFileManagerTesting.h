#pragma once

#include "VXFileManager.h"
#include "VXTesting.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <sys/stat.h>

/** A test with a file manager and a trash of its own. */
class VXFileManagerHomeTest : public VXHomeTest
{
protected:
    QString trash(const QString &relative) const { return path(QStringLiteral(".local/share/Trash/") + relative); }
    QStringList trashed() const { return entries(trash(QStringLiteral("files"))); }
    QStringList trashInfos() const { return entries(trash(QStringLiteral("info"))); }
    static QStringList entries(const QString &folder)
    {
        return QDir(folder).entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot);
    }
    /** What there must be. */
    static struct stat statusOf(const QString &path)
    {
        struct stat status = {};
        EXPECT_EQ(::stat(QFile::encodeName(path).constData(), &status), 0) << path.toStdString();
        return status;
    }

    VXFileManager manager;
};
