#pragma once

#include "VXWorkspace.h"

#include <QtCore/QMimeDatabase>

/** The workspace of a Linux desktop. Private to the platform layer. */
class VXFreedesktopWorkspace : public VXWorkspace
{
public:
    VXIcon iconForFile(const QString &path) override;
    VXIcon iconForFileType(const QString &type) override;
    QString applicationPathForIdentifier(const QString &identifier) override;
    VXIcon iconForApplication(const QString &identifier) override;
    bool openURL(const QUrl &url, VXError *error) override;
    qint64 processIdentifierForApplication(const QString &name) override;

private:
    QMimeDatabase _mimeTypes;
};
