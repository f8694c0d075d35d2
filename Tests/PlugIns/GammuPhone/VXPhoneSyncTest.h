#pragma once

#include "GammuPhoneTestsPaths.h"
#include "VXTesting.h"
#include "VXWords.h"

#include <QtCore/QDir>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>
#include <QtCore/QRandomGenerator>

/** The program and a phone without hardware, each in the home folder. */
class VXPhoneSyncTest : public VXHomeTest
{
protected:
    const QString phone = QStringLiteral("vxdevice://localhost/com.halvern.VNX2.GammuPhone/dummy");

    void fillPhone() const
    {
        const QStringList folder{path(QStringLiteral("phone"))};
        ASSERT_EQ(QProcess::execute(QStringLiteral(EXAMPLE_PHONE) + QStringLiteral("/fill"), folder), 0);
        addPhone();
    }
    void addPhone() const
    {
        vornix("plugins enable com.halvern.VNX2.GammuPhone");
        vornix({"devices", "add", "com.halvern.VNX2.GammuPhone", "dummy", "model=dummy", "connection=none",
                QStringLiteral("port=") + path(QStringLiteral("phone"))});
    }

    QStringList arguments(const VXWords &command) const
    {
        return VXWords{"--json", "--home", path(QStringLiteral("home"))} + command;
    }
    /** What a command answers. */
    QJsonValue vornix(const VXWords &command, int expectedStatus = 0) const
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
    /** A run of the program that may be killed, or asked to quit, before it ends. */
    void runAndPerhapsKill(const VXWords &command, int mostMilliseconds) const
    {
        QProcess process;
        process.start(QStringLiteral(VORNIX_PROGRAM), arguments(command));
        ASSERT_TRUE(process.waitForStarted());
        if (!process.waitForFinished(QRandomGenerator::global()->bounded(1, mostMilliseconds)))
            QRandomGenerator::global()->bounded(2) == 0 ? process.kill() : process.terminate();
        process.waitForFinished();
        vornix("plugins retry com.halvern.VNX2.GammuPhone"); // kills while it is loaded tell against it
    }
    void gammu(const VXWords &command, const QByteArray &answers = {}) const
    {
        QProcess process;
        process.start(QStringLiteral(GAMMU_PROGRAM),
                      VXWords{"--config", path(QStringLiteral("phone/gammurc"))} + command);
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
        const QJsonObject result = vornix({"sync", phone, QStringLiteral("--") + kind})[kind].toObject();
        return QStringLiteral("%1 %2 %3")
            .arg(result[QStringLiteral("added")].toInt(-1))
            .arg(result[QStringLiteral("changed")].toInt())
            .arg(carriedOut(result));
    }
};
