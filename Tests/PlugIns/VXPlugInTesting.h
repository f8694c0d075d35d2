#pragma once

#include "PlugInTestsPaths.h"
#include "VXBundle.h"
#include "VXExporterPlugin.h"
#include "VXTesting.h"

#include <QtCore/QProcess>

#include <memory>

/** An instance of a plugin that ships, made from its bundle; null when that is no T. */
template <class T>
std::unique_ptr<T> VXMakeShippedPlugin(const QString &target)
{
    const QString folder = QStringLiteral(VORNIX_PLUGINS);
    const VXBundle::Ptr bundle = VXBundle::bundleWithPath(folder + u'/' + target + QStringLiteral(".vxplugin"));
    VXError error;
    const QMetaObject *const metaObject = bundle ? bundle->principalClass(&error) : nullptr;
    EXPECT_NE(metaObject, nullptr) << error.description().toStdString();
    QObject *const object = metaObject != nullptr ? metaObject->newInstance() : nullptr;
    std::unique_ptr<T> plugin(dynamic_cast<T *>(object));
    EXPECT_NE(plugin, nullptr);
    return plugin;
}

/** Exports with an exporter that ships. @return why that failed; null when it did not. */
inline QString VXExport(const QString &target, const QVariantList &objects, const QString &path,
                        QVariantMap options = {})
{
    const auto exporter = VXMakeShippedPlugin<VXExporterPlugin>(target);
    options.insert(VXExporterOptionsFilePathKey, path);
    const std::optional<VXError> error = exporter->exportObjects(objects, options);
    return error ? error->localizedRecoverySuggestion() : QString();
}

/** What a Python program prints, without the line end. Its `sys.argv[1]` is the argument. */
inline QByteArray VXPython(const QString &program, const QString &argument)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral("python3"), {QStringLiteral("-c"), program, argument});
    EXPECT_TRUE(process.waitForFinished());
    return process.readAll().trimmed();
}
