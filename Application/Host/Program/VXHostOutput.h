#pragma once

#include "VXMutex.h"

#include <QtCore/QByteArray>
#include <QtCore/QJsonValue>
#include <QtCore/QString>

#include <atomic>
#include <string_view>

/**
 * Where a command writes: standard output for what was requested, standard error for what went wrong. It keeps the
 * promise of --json: exactly one JSON value on standard output, whatever happens ({"error": TEXT} after a failure, null
 * if there is nothing to say). A reader that has gone away ends the output silently; other failures to write are
 * reported. Used on one thread; but functions that end an answer may be called on any, for example by a plugin's thread
 * that ends the program.
 */
class VXHostOutput
{
public:
    enum Status : int { Done = 0, Failed = 1, WrongUsage = 2 };

    /** The caller keeps ownership of the descriptors. */
    VXHostOutput(int output, int errors, bool isJSON);
    VXHostOutput(const VXHostOutput &) = delete;
    VXHostOutput &operator=(const VXHostOutput &) = delete;

    bool isJSON() const { return _isJSON; }
    bool isTerminal() const;
    /** The number of characters that fit on a line: COLUMNS of the environment, else the terminal's width; the greatest
     *  number if neither is known. */
    qsizetype width() const;
    static qsizetype widthOf(int descriptor);

    /** Writes the whole answer, in the form for people or as a JSON value, whichever was requested. To be called once.
     *  Characters of the text that could control a terminal are made visible. */
    void answer(const QString &text, const QJsonValue &value);
    /** The same for an answer that people get as JSON too. */
    void answer(const QJsonValue &value);
    /** Writes the answer as bytes, which must not be requested with --json. */
    void answerBytes(const QByteArray &bytes);

    /** Starts an answer with many parts: lines for people, elements of one JSON array with --json. */
    void beginParts();
    void writePart(const QByteArray &line);

    /** Reports on standard error something that is neither an answer nor a failure. */
    void note(const QString &text);
    /** Reports on standard error what went wrong; returns the exit status. */
    int fail(const QString &text);
    int failUsage(const QString &text, const QString &usage);

    /** Writes what is buffered; false once writing has failed: then there is no point in going on. */
    bool flush();
    /** Ends the answer and writes it. @return the exit status: the given one, or Failed if writing failed. */
    int finish(int status);
    /** For the handler of a signal that ends the program: writes the failure as a JSON value, if one was requested and
     *  nothing of it was written yet. */
    void answerCrash(std::string_view failure) const;

private:
    void write(const QByteArray &bytes) VX_REQUIRES(_lock);
    void writeLine(const QByteArray &line) VX_REQUIRES(_lock);

    const int _output;
    const int _errors;
    const bool _isJSON;
    std::atomic<bool> _hasWritten = false; // or there is nothing left to write
    mutable VXRecursiveMutex _lock;
    bool _answered VX_GUARDED_BY(_lock) = false;
    bool _inParts VX_GUARDED_BY(_lock) = false;
    bool _wroteFirstPart VX_GUARDED_BY(_lock) = false;
    bool _writingFailed VX_GUARDED_BY(_lock) = false;
    QString _failure VX_GUARDED_BY(_lock);
    QByteArray _buffer VX_GUARDED_BY(_lock);
};
