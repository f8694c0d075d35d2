#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

class VXMainWindow;

/**
 * Opens what other programs pass on: tel: and sms: URLs, the application's own URLs, vCards, stores and plugins. Main
 * thread.
 */
class VXDesktopOpener
{
public:
    explicit VXDesktopOpener(VXMainWindow &window) : _window(window) {}

    /** Opens URIs or file paths. What cannot be opened is reported. */
    void open(const QStringList &uris);

    /** The contents of a URL such as "sms:+15550100,+15550101?body=Hi": the numbers, and the text. */
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
