#include "VXInterfaceFile.h"

#include "VXInterface.h"
#include "VXInterfaceFileReader.h"
#include "VXKeyValueCoding.h"
#include "VXLog.h"
#include "VXPluginProxy.h"
#include "VXValueTransformer.h"
#include "VXWindowMemory.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QLibrary>
#include <QtCore/QMetaMethod>
#include <QtCore/QPointer>
#include <QtWidgets/QWidget>

using namespace Qt::StringLiterals;

namespace {

QWidget *readWindow(QFile &file, QString *reason)
{
    static QLibrary library(QFileInfo(VXInterfaceBundle()->bundlePath()).path() + "/VornixInterfaceFiles.so"_L1);
    library.setLoadHints(QLibrary::PreventUnloadHint);
    const auto read = reinterpret_cast<VXReadInterfaceFileFunction *>(library.resolve(VXReadInterfaceFileSymbol));
    if (read == nullptr)
        *reason = library.errorString();
    return read == nullptr ? nullptr : read(file, QFileInfo(file).dir(), reason); // pictures are in the same folder
}

void setOutlet(QObject &owner, QWidget &widget)
{
    const QByteArray name = widget.objectName().toUtf8();
    const int index = name.isEmpty() ? -1 : owner.metaObject()->indexOfProperty(name.constData());
    if (index < 0)
        return;
    const QMetaProperty property = owner.metaObject()->property(index);
    QVariant value;
    if (property.metaType() == QMetaType::fromType<QObject *>()) {
        value = QVariant::fromValue<QObject *>(&widget);
    } else {
        QWidget *pointer = &widget;
        const QMetaObject *const wanted = property.metaType().metaObject();
        if (wanted == nullptr || widget.metaObject()->inherits(wanted))
            value = QVariant(property.metaType(), &pointer);
    }
    if (!value.isValid() || !property.write(&owner, value))
        VXLog::log(VXLogWarning,
                   u"The interface file's \"%1\" is no value of that property"_s.arg(widget.objectName()));
}

// Connects the owner's method "save_clicked" to the signal "clicked" of the widget "save".
void connectActions(QObject &owner, QWidget &widget)
{
    const QMetaObject &methods = *owner.metaObject();
    const QByteArray prefix = widget.objectName().toUtf8() + '_';
    if (prefix.size() == 1)
        return;
    for (int i = 0; i < methods.methodCount(); ++i) {
        const QMetaMethod method = methods.method(i);
        if (method.methodType() == QMetaMethod::Signal || !method.name().startsWith(prefix))
            continue;
        const QByteArray wanted = method.name().sliced(prefix.size());
        for (int j = widget.metaObject()->methodCount() - 1; j >= 0; --j) {
            const QMetaMethod signal = widget.metaObject()->method(j);
            if (signal.methodType() == QMetaMethod::Signal && signal.name() == wanted &&
                QMetaObject::checkConnectArgs(signal, method)) {
                QObject::connect(&widget, signal, &owner, method);
                break;
            }
        }
    }
}

void showValue(QObject &owner, QWidget &widget)
{
    const QString keyPath = widget.property("vxValue").toString();
    if (keyPath.isEmpty())
        return;
    QVariant value = VXValueForKeyPath(QVariant::fromValue(&owner), keyPath);
    const QString name = widget.property("vxTransformer").toString();
    if (const auto transformer = name.isEmpty() ? nullptr : VXValueTransformer::valueTransformerForName(name))
        value = transformer->transformedValue(value);
    if (!widget.setProperty("text", value.toString()))
        widget.setProperty("value", value);
}

} // namespace

bool VXInterfaceFile::load(const QString &path, QObject &owner)
{
    QFile file(path);
    QString reason;
    QWidget *const window = file.open(QIODevice::ReadOnly) ? readWindow(file, &reason) : nullptr;
    if (window == nullptr) {
        VXLog::log(VXLogError, u"Unable to load the interface file %1: %2"_s.arg(
                                   path, file.isOpen() ? reason : file.errorString()));
        return false;
    }
    QObject::connect(&owner, &QObject::destroyed, window, [window] {
        window->hide();
        window->deleteLater();
    });
    QList<QWidget *> widgets = window->findChildren<QWidget *>();
    widgets.prepend(window);
    for (QWidget *const widget : std::as_const(widgets)) {
        setOutlet(owner, *widget);
        connectActions(owner, *widget);
        showValue(owner, *widget);
    }
    if (!window->objectName().isEmpty())
        VXRememberWindow(*window, QString::fromLatin1(owner.metaObject()->className()) + u'.' + window->objectName(),
                         window->size());
    return true;
}

void VXInterfaceFile::install()
{
    VXPluginProxy::setInterfaceFileLoader(
        [](const QString &path, VXPlugin &owner) { return VXInterfaceFile::load(path, owner); });
}
