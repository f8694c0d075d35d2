#pragma once

#include <QtCore/QStringList>

/** Runs SQL in a file as another program would; that it fails fails the test. @return of each row the last column. */
QStringList VXRunSQL(const QString &file, const QByteArray &sql);

/** What SQLite means to do to run a statement. */
QStringList VXQueryPlan(const QString &file, const QString &statement);

/**
 * While it lives, one reading statement fails of all that connections of this process run which are opened in that time: as if
 * the disk failed under it. One at a time, and none beside a VXStatementRecorder.
 */
class VXFailingReads
{
public:
    VXFailingReads();
    ~VXFailingReads();
    VXFailingReads(const VXFailingReads &) = delete;
    VXFailingReads &operator=(const VXFailingReads &) = delete;

    /** From now on counts anew; the statement of that number fails, the first being 1, and none for 0. */
    static void failAt(int number);
    /** Whether it came to that. */
    static bool hasFailed();
};

/** While it lives, notes the statements of all connections of this process that are opened in that time. One at a time. */
class VXStatementRecorder
{
public:
    VXStatementRecorder();
    ~VXStatementRecorder();
    VXStatementRecorder(const VXStatementRecorder &) = delete;
    VXStatementRecorder &operator=(const VXStatementRecorder &) = delete;

    /** Those since the last call, with the values of their parameters. */
    QStringList take();
};
