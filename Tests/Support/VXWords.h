#pragma once

#include <QtCore/QStringList>

#include <concepts>
#include <initializer_list>

/** One of VXWords. */
struct VXWord : QString
{
    VXWord(const char *text) : QString(QString::fromUtf8(text)) {}
    template <std::convertible_to<QString> T>
    VXWord(const T &text) : QString(text)
    {
    }
};

/** What is typed on a command line: a line, whose words with spaces stand in '...', or word by word. */
struct VXWords : QStringList
{
    VXWords() = default;
    VXWords(const QStringList &words) : QStringList(words) {}
    VXWords(std::initializer_list<VXWord> words) : QStringList(words.begin(), words.end()) {}
    VXWords(const char *line) : VXWords(QString::fromUtf8(line)) {}
    VXWords(const QString &line)
    {
        const QStringList pieces = line.split(u'\''); // every other one is quoted
        bool isOpen = false;                          // what comes next belongs to the last word
        for (qsizetype i = 0; i < pieces.size(); ++i) {
            const QStringList words = i % 2 == 0 ? pieces[i].split(u' ') : QStringList(pieces[i]);
            for (qsizetype j = 0; j < words.size(); ++j) {
                if (j == 0 && isOpen)
                    last() += words[0];
                else if (i % 2 == 1 || !words[j].isEmpty())
                    append(words[j]);
            }
            isOpen = i % 2 == 1 || !words.last().isEmpty();
        }
    }
};
