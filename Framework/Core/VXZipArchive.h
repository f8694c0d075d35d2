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

    VXZipArchive(QString path, Runner run);

    /** The archive's path as an argument of unzip and zipinfo, which take wildcards and options there. */
    QByteArray pathArgument() const;

    /** Lists the entries. @return zipinfo's exit status; all else is valid only after 0. */
    int read();

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
