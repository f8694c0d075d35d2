#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QString>

#include <functional>

/**
 * What an archive holds, as the system's unzip sees it, so that it can be judged before anything is written.
 * Private to VXZipFile; one thread at a time.
 */
class VXZipArchive
{
public:
    /** Runs a program with its output captured up to a number of bytes; answers its exit status. */
    using Runner = std::function<int(const QString &program, const QList<QByteArray> &arguments, QByteArray *output,
                                     qsizetype maximumOutput)>;

    /** The exit status of the archivers after a mere warning. */
    static constexpr int warned = 1;

    VXZipArchive(QString path, Runner run);

    /** The archive's path as an argument of unzip and zipinfo, which take wildcards and options there. */
    QByteArray pathArgument() const;

    /** Lists the entries. @return 0, or zipinfo's exit status; all else is valid only after 0. Archives that have
     *  something in front, as those that unpack themselves, are read all the same. */
    int read();

    /** By the list, in bytes: what all entries take when unpacked, at most the largest number, and the largest of them. */
    qint64 totalSize() const;
    qint64 largestSize() const;

    /** Null for an archive without entries. Unprintable characters are shown as zipinfo shows them. */
    QString firstEntryName() const;

    /** Why the archive must not be unpacked, as a localized sentence that names the entry; null when it may be. */
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
