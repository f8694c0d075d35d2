#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTemporaryFile>

/** The lines that go to the log while it lives. One at a time. */
class VXLogRecorder
{
public:
    VXLogRecorder();
    ~VXLogRecorder();
    VXLogRecorder(const VXLogRecorder &) = delete;
    VXLogRecorder &operator=(const VXLogRecorder &) = delete;

    /** Whole, with date, process and thread. */
    QStringList lines() const;
    /** Those of one level, as "ERROR". */
    QStringList lines(const QString &level) const;
    /** How many lines hold the text. */
    qsizetype count(const QString &text) const;
    /** Each as "<LEVEL> text". */
    QStringList messages() const;

private:
    QTemporaryFile _file;
};
