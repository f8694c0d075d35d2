#include "VXTesting.h"

#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXFolders.h"
#include "VXMutex.h"
#include "VXUserDefaults.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QDebug>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QTimer>

void PrintTo(const QString &text, std::ostream *out)
{
    *out << (text.isNull() ? "(null)" : '"' + text.toStdString() + '"');
}

void PrintTo(const QByteArray &bytes, std::ostream *out)
{
    *out << (bytes.isNull() ? "(null)" : '"' + bytes.toPercentEncoding(" \n\"{}<>/=").toStdString() + '"');
}

void PrintTo(const QVariant &value, std::ostream *out)
{
    QString text;
    QDebug(&text) << value;
    *out << text.toStdString();
}

void PrintTo(const VXError &error, std::ostream *out)
{
    *out << error.description().toStdString();
}

VXHomeTest::VXHomeTest()
{
    VXSetHomeFolder(_home.path());
}

VXHomeTest::~VXHomeTest()
{
    VXUserDefaults::standardUserDefaults().synchronize(); // else the end of the program makes the folder again for them
}

QString VXHomeTest::path(const QString &relative) const
{
    return _home.filePath(relative);
}

QString VXHomeTest::writeFile(const QString &relative, const QByteArray &contents) const
{
    const QString full = path(relative);
    QDir().mkpath(QFileInfo(full).path());
    QFile file(full);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly)) << full.toStdString();
    EXPECT_EQ(file.write(contents), contents.size());
    return full;
}

QByteArray VXHomeTest::readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool VXRunUntil(const std::function<bool()> &condition)
{
    const QDeadlineTimer deadline(10'000);
    QTimer wake; // so that a wait without any event still ends
    wake.start(50);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

QString VXReasonOfAssertion(const std::function<void()> &call)
{
    try {
        call();
    } catch (const VXAssertionException &exception) {
        return exception.reason();
    }
    return {};
}

namespace {

VXMutex recordedLock;
QStringList recorded VX_GUARDED_BY(recordedLock);

void record(unsigned, const QString &text)
{
    const VXMutexLocker lock(recordedLock);
    recorded.append(text);
}

} // namespace

VXDiagnosticRecorder::VXDiagnosticRecorder()
{
    const VXMutexLocker lock(recordedLock);
    recorded.clear();
    VXSetDiagnosticHandler(record);
}

VXDiagnosticRecorder::~VXDiagnosticRecorder()
{
    VXSetDiagnosticHandler(nullptr);
}

QStringList VXDiagnosticRecorder::texts() const
{
    const VXMutexLocker lock(recordedLock);
    return recorded;
}
