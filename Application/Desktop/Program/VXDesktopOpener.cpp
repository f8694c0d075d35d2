#include "VXDesktopOpener.h"

#include "VXApplication.h"
#include "VXCardFile.h"
#include "VXDataPlugin.h"
#include "VXDesktopText.h"
#include "VXErrorDomain.h"
#include "VXMainWindow.h"
#include "VXPhoneNumberFormat.h"
#include "VXPluginKind.h"
#include "VXPluginManager.h"
#include "VXPluginProxy.h"
#include "VXSearchIndex.h"
#include "VXStoreImporting.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QUrl>
#include <QtCore/QUrlQuery>

using namespace Qt::StringLiterals;

namespace {

void fail(const QString &text, const QString &why)
{
    VXApplication::sharedApplication().presentError(why.isEmpty() ? VXMakeError(text)
                                                                  : VXMakeError(text, "%s", qUtf8Printable(why)));
}

} // namespace

VXDesktopOpener::Message VXDesktopOpener::messageOf(const QString &url)
{
    const QUrl parsed(url);
    Message message;
    const QString path = QUrl::fromPercentEncoding(url.section(u':', 1).section(u'?', 0, 0).toUtf8());
    for (const QString &number : path.split(u',')) {
        QString plain = number.trimmed();
        while (plain.startsWith(u'/'))
            plain.remove(0, 1);
        if (!plain.isEmpty())
            message.numbers.append(plain.section(u';', 0, 0));
    }
    message.text = QUrlQuery(parsed).queryItemValue(u"body"_s, QUrl::FullyDecoded);
    return message;
}

void VXDesktopOpener::open(const QStringList &uris)
{
    QStringList cards;
    for (const QString &uri : uris)
        openOne(uri, cards);
    if (!cards.isEmpty())
        _window.importContacts(cards);
}

void VXDesktopOpener::openOne(const QString &uri, QStringList &cards)
{
    const QString scheme = uri.section(u':', 0, 0).toLower();
    if (uri.startsWith(u'/') || !uri.contains(u':'))
        return openFile(QFileInfo(uri).absoluteFilePath(), cards);
    if (scheme == "file"_L1)
        return openFile(QUrl(uri).toLocalFile(), cards);
    if (scheme == "tel"_L1 || scheme == "callto"_L1) {
        const QStringList numbers = messageOf(uri).numbers;
        if (!numbers.isEmpty())
            call(numbers.constFirst());
        return;
    }
    if (scheme == "sms"_L1 || scheme == "smsto"_L1) {
        const Message message = messageOf(uri);
        _window.writeMessage(message.numbers, message.text);
        return;
    }
    if (const QString words = VXFoundObject::wordsInURL(QUrl(uri)); !words.isEmpty())
        return _window.findEverywhere(words);
    if (const QUrl object = VXFoundObject::uriForURL(QUrl(uri)); !object.isEmpty() && _window.showObject(object))
        return;
    if (!VXApplication::sharedApplication().openURLString(uri).isValid())
        fail(VXText("“%1” cannot be opened.").arg(uri), VXPluginManager::sharedPluginManager().lastURLProblem());
}

// A web page may contain such a link, so nobody is called without asking first.
void VXDesktopOpener::call(const QString &number)
{
    VXAlert alert;
    alert.message = VXText("Call %1?").arg(VXFormatPhoneNumber(number));
    alert.defaultButton = VXText("Call");
    alert.alternateButton = VXText("Cancel");
    if (VXApplication::sharedApplication().userInterface().runAlert(alert).button == VXAlertButton::Default)
        _window.call(number);
}

void VXDesktopOpener::openFile(const QString &named, QStringList &cards)
{
    const QString path = QDir::cleanPath(named); // folders may be followed by a slash
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (!QFileInfo::exists(path))
        fail(VXText("“%1” is not there.").arg(path), {});
    else if (VXIsCardFile(path))
        cards.append(path);
    else if (suffix == "vxplugin"_L1)
        installPlugin(path);
    else if (suffix == VXStoreFileExtension)
        importStore(path);
    else
        fail(VXText("“%1” is nothing that can be opened here.").arg(path), {});
}

void VXDesktopOpener::importStore(const QString &path)
{
    for (const VXPluginProxy *const proxy :
         VXPluginManager::sharedPluginManager().pluginsWithClassName(VXPluginKind::Data)) {
        if (!proxy->isLoaded())
            continue;
        auto &plugin = proxy->as<VXDataPlugin>("importStoreAction");
        if (!plugin.isValidStoreAtPath(path))
            continue;
        if (const QString outcome = VXImportStoreFile(plugin, path); !outcome.isEmpty())
            _window.tellDone(outcome);
        return;
    }
    fail(VXText("“%1” is nothing that can be opened here.").arg(path),
         VXText("No plugin that is enabled has such a store."));
}

// Its code can do everything that the user can, so the user is asked first.
void VXDesktopOpener::installPlugin(const QString &path)
{
    VXAlert alert;
    alert.message = VXText("Install the plugin “%1”?").arg(QFileInfo(path).completeBaseName());
    alert.informativeText = VXText(
        "A plugin can do whatever you can do on this computer. Install it only if you trust where it comes from.");
    alert.defaultButton = VXText("Install");
    alert.alternateButton = VXText("Cancel");
    if (VXApplication::sharedApplication().userInterface().runAlert(alert).button != VXAlertButton::Default)
        return;
    VXError error;
    if (VXPluginManager::sharedPluginManager().installBundleAtPath(path, &error) == VXPluginInstallResult::Failed)
        fail(VXText("“%1” could not be installed.").arg(QFileInfo(path).completeBaseName()),
             error.localizedDescription());
    else
        _window.openPreferences(u"plugins"_s);
}
