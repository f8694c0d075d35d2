#include "VXFileExporter.h"

#include "VXErrorDomain.h"
#include "VXFolders.h"
#include "VXFramework.h"
#include "VXNone.h"
#include "VXPluginOptions.h"

#include <QtCore/QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 longestStart = 64; // bytes, some of which may be blank

} // namespace

std::optional<VXError> VXFileExporter::exportObjects(const QVariantList &objects, const QVariantMap &options)
{
    const QString path = VXExpandTilde(options.value(VXExporterOptionsFilePathKey).toString());
    if (path.isEmpty())
        return VXMakeFileError(VXLocalizedString(u"The export failed."_s),
                               VXLocalizedString(u"No file to export to is set."_s), {});
    const QString description = VXLocalizedString(u"The export to \"%1\" failed."_s).arg(path);

    QVariantList present = objects;
    present.removeIf([](const QVariant &object) { return VXIsNone(object); });
    if (present.isEmpty() && !objects.isEmpty())
        return VXMakeFileError(description, VXLocalizedString(u"The event is about nothing that can be exported."_s),
                               path);

    using Mode = VXExportFile::Mode;
    const Mode mode = VXBooleanOption(options, u"append"_s, true) ? Mode::Append : Mode::Replace;
    QString reason;
    const auto file = VXExportFile::open(path, mode, &reason);
    if (file && goesTogether(*file, &reason) && writeObjects(present, options, *file, &reason) && file->commit(&reason))
        return std::nullopt;
    return VXMakeFileError(description, reason, path);
}

bool VXFileExporter::goesTogether(VXExportFile &file, QString *reason) const
{
    const QByteArray mark = formatMark();
    QByteArray start = file.oldBytes(0, longestStart);
    if (start.startsWith("\xef\xbb\xbf"))
        start.remove(0, 3);
    start = start.trimmed();
    if (mark.isEmpty() || start.isEmpty() || start.first(std::min(mark.size(), start.size())).toUpper() == mark)
        return true;
    *reason = VXLocalizedString(u"The file holds something else; it stays as it is."_s);
    return false;
}

VXReactorOptions VXFileExporter::reactorOptions() const
{
    using Type = VXReactorOption::Type;
    return describedOptions(
               {{.key = VXExporterOptionsFilePathKey,
                 .type = Type::File,
                 .meaning = VXLocalizedString(u"The file to export to."_s),
                 .isNeeded = true},
                {.key = u"append"_s,
                 .type = Type::Boolean,
                 .meaning = VXLocalizedString(u"Whether to write behind what the file holds, or in place of it."_s)}}) +
           furtherOptions();
}

QString VXFileExporter::problemOfOptions(const QVariantMap &options) const
{
    const QString path = VXExpandTilde(options.value(VXExporterOptionsFilePathKey).toString());
    const QString folder = QFileInfo(path).path();
    return path.isEmpty() || QFileInfo(folder).isDir() ? QString()
                                                       : VXLocalizedString(u"There is no folder \"%1\"."_s).arg(folder);
}

QString VXFileExporter::localizedString(const QString &key) const
{
    const VXBundle::Ptr found = bundle();
    return found ? found->localizedStringForKey(key) : key;
}
