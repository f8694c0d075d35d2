#pragma once

#include "VXMutex.h"

#include <QtCore/QByteArray>
#include <QtCore/QJsonValue>
#include <QtCore/QString>

#include <atomic>
#include <string_view>

/**
 * Where a command writes: standard output for what was asked for, standard error for what went wrong. It
 * keeps the promise of --json: exactly one JSON value on standard output, whatever happens ({"error": TEXT}
 * after a failure, null where there is nothing to say). A reader that went away ends the output without a
 * word; other failures to write are told. Used on one thread; but what ends an answer may be called on any, as by a plugin's
 * thread that ends the program.
 */
class VXHostOutput
{
public:
    enum Status : int { Done = 0, Failed = 1, WrongUsage = 2 };

    /** The descriptors stay the caller's. */
    VXHostOutput(int output, int errors, bool isJSON);
    VXHostOutput(const VXHostOutput &) = delete;
    VXHostOutput &operator=(const VXHostOutput &) = delete;

    bool isJSON() const { return _isJSON; }
    bool isTerminal() const;
    /** How many characters a line has room for: COLUMNS of the environment, else what the terminal has; the greatest number
     *  where neither tells. */
    qsizetype width() const;
    static qsizetype widthOf(int descriptor);

    /** The whole answer, in the form for people or as a JSON value: whichever was asked for. Once. Of the text
     * what could steer a terminal is shown instead. */
    void answer(const QString &text, const QJsonValue &value);
    /** The same, of an answer that people get as JSON too. */
    void answer(const QJsonValue &value);
    /** The answer as bytes, which must not be asked for with --json. */
    void answerBytes(const QByteArray &bytes);

    /** Starts an answer of many parts: lines for people, elements of one JSON array with --json. */
    void beginParts();
    void writePart(const QByteArray &line);

    /** Says on standard error how things stand: what is no answer and no failure. */
    void note(const QString &text);
    /** Says what went wrong on standard error; answers the status to return. */
    int fail(const QString &text);
    int failUsage(const QString &text, const QString &usage);

    /** Writes what is kept back; false once writing failed: there is no sense in going on. */
    bool flush();
    /** Ends the answer and writes it. @return the exit status: the given one, or Failed when writing failed. */
    int finish(int status);
    /** Inside the handler of a signal that ends the program: the failure as a JSON value, where one was asked for and nothing
     * of it is written yet. */
    void answerCrash(std::string_view failure) const;

private:
    void write(const QByteArray &bytes) VX_REQUIRES(_lock);
    void writeLine(const QByteArray &line) VX_REQUIRES(_lock);

    const int _output;
    const int _errors;
    const bool _isJSON;
    std::atomic<bool> _hasWritten = false; // or there is nothing more to write
    mutable VXRecursiveMutex _lock;
    bool _answered VX_GUARDED_BY(_lock) = false;
    bool _inParts VX_GUARDED_BY(_lock) = false;
    bool _wroteFirstPart VX_GUARDED_BY(_lock) = false;
    bool _writingFailed VX_GUARDED_BY(_lock) = false;
    QString _failure VX_GUARDED_BY(_lock);
    QByteArray _buffer VX_GUARDED_BY(_lock);
};
