#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QString>

#include <functional>

/**
 * The contents of an archive as the system's unzip sees them, so that they can be checked before anything is written.
 * Private to VXZipFile; one thread at a time.
 */
class VXZipArchive
{
public:
    /** Runs a program and captures its output up to a number of bytes; returns its exit status. */
    using Runner = std::function<int(const QString &program, const QList<QByteArray> &arguments, QByteArray *output,
                                     qsizetype maximumOutput)>;

    /** The exit status of the archivers after a mere warning. */
    static constexpr int warned = 1;

    VXZipArchive(QString path, Runner run);

    /** The archive's path as an argument for unzip and zipinfo, which would otherwise interpret wildcards and options
     *  in it. */
    QByteArray pathArgument() const;

    /** Lists the entries. @return 0, or zipinfo's exit status; everything else is valid only after 0. Archives with
     *  something in front, such as self-extracting ones, can be read. */
    int read();

    /** According to the list, in bytes: the unpacked size of all entries (capped at the largest number), and the size
     *  of the largest. */
    qint64 totalSize() const;
    qint64 largestSize() const;

    /** Null for an archive without entries. Unprintable characters are shown as zipinfo shows them. */
    QString firstEntryName() const;

    /** Why the archive must not be unpacked, as a localized sentence that names the entry; null if it may be. */
    QString refusal() const;

private:
    struct Entry
    {
        QByteArray name;
        bool isLink = false;
        qsizetype size = 0;
        QByteArray normalName; // without empty and "." components
    };

    static bool readEntry(const QByteArray &name, const QByteArray &details, Entry *entry);
    const Entry *entryThatLeadsOutside() const;
    const Entry *entryThroughLink() const;
    const Entry *linkThatLeadsOutside() const;

    const QString _path;
    const Runner _run;
    QList<Entry> _entries;
    bool _isUnderstood = false;
};
