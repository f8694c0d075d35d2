#pragma once

#include "GammuPhoneTestsPaths.h"
#include "VXTesting.h"

#include <QtCore/QDir>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>

/** The program and a phone without hardware, each in the home folder. */
class VXPhoneSyncTest : public VXHomeTest
{
protected:
    const QString phone = QStringLiteral("vxdevice://localhost/com.halvern.VNX2.GammuPhone/dummy");

    void fillPhone() const
    {
        ASSERT_EQ(
            QProcess::execute(QStringLiteral(EXAMPLE_PHONE) + QStringLiteral("/fill"), {path(QStringLiteral("phone"))}),
            0);
        addPhone();
    }
    void addPhone() const
    {
        vornix({QStringLiteral("plugins"), QStringLiteral("enable"), QStringLiteral("com.halvern.VNX2.GammuPhone")});
        vornix({QStringLiteral("devices"), QStringLiteral("add"), QStringLiteral("com.halvern.VNX2.GammuPhone"),
                QStringLiteral("dummy"), QStringLiteral("model=dummy"), QStringLiteral("connection=none"),
                QStringLiteral("port=") + path(QStringLiteral("phone"))});
    }

    QStringList arguments(const QStringList &command) const
    {
        return QStringList{QStringLiteral("--json"), QStringLiteral("--home"), path(QStringLiteral("home"))} + command;
    }
    /** What a command answers. */
    QJsonValue vornix(const QStringList &command, int expectedStatus = 0) const
    {
        QProcess process;
        process.start(QStringLiteral(VORNIX_PROGRAM), arguments(command));
        EXPECT_TRUE(process.waitForFinished(60000));
        const QByteArray output = process.readAllStandardOutput();
        EXPECT_EQ(process.exitCode(), expectedStatus)
            << command.join(u' ').toStdString() << output.toStdString() << process.readAllStandardError().toStdString();
        const QJsonDocument document = QJsonDocument::fromJson(output);
        return document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object());
    }
    void gammu(const QStringList &command, const QByteArray &answers = {}) const
    {
        QProcess process;
        process.start(QStringLiteral(GAMMU_PROGRAM),
                      QStringList{QStringLiteral("--config"), path(QStringLiteral("phone/gammurc"))} + command);
        process.write(answers);
        process.closeWriteChannel();
        EXPECT_TRUE(process.waitForFinished(60000));
    }
    /** How much a sync did on the phone. */
    static int carriedOut(const QJsonObject &result)
    {
        return result[QStringLiteral("addedThere")].toInt() + result[QStringLiteral("changedThere")].toInt() +
               result[QStringLiteral("deletedThere")].toInt();
    }
    /** What a sync did, as "added changed", and what on the phone. */
    QString sync(const QString &kind) const
    {
        const QJsonObject result =
            vornix({QStringLiteral("sync"), phone, QStringLiteral("--") + kind})[kind].toObject();
        return QStringLiteral("%1 %2 %3")
            .arg(result[QStringLiteral("added")].toInt(-1))
            .arg(result[QStringLiteral("changed")].toInt())
            .arg(carriedOut(result));
    }
};
