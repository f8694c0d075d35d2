#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

class VXMainWindow;

/** Opens what other programs hand over: tel: and sms: URLs, the application's own, vCards, stores and plugins. Main thread. */
class VXDesktopOpener
{
public:
    explicit VXDesktopOpener(VXMainWindow &window) : _window(window) {}

    /** URIs, or paths of files. What cannot be opened is told. */
    void open(const QStringList &uris);

    /** Of a URL as "sms:+15550100,+15550101?body=Hi": the numbers, and the text. */
    struct Message
    {
        QStringList numbers = {};
        QString text = {};
    };
    [[nodiscard]] static Message messageOf(const QString &url);

private:
    void openOne(const QString &uri, QStringList &cards);
    void call(const QString &number);
    void openFile(const QString &path, QStringList &cards);
    void importStore(const QString &path);
    void installPlugin(const QString &path);

    VXMainWindow &_window;
};
