#include "VXGammuConfiguration.h"

#include "VXDevicePlugin.h"
#include "VXGammuText.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

struct FreeSections
{
    void operator()(INI_Section *head) const { INI_Free(head); }
};
using Sections = std::unique_ptr<INI_Section, FreeSections>;

QString textPreference(const VXDevicePlugin &device, const QString &key)
{
    const QString text = device.preferenceForKey(key).toString().trimmed();
    return text.isEmpty() ? QString() : text;
}

// The library frees what stands there with free().
void replace(char *&text, const QString &value)
{
    std::free(text);
    text = ::strdup(QFile::encodeName(value).constData());
}

// 0 for "gammu", 1 for "gammu1" and "1"; empty for what names no section.
std::optional<int> numberOfSection(const QString &section)
{
    const QString number = section.startsWith("gammu"_L1, Qt::CaseInsensitive) ? section.sliced(5) : section;
    if (number.isEmpty())
        return 0;
    bool isNumber = false;
    const int value = number.toInt(&isNumber);
    return isNumber && value >= 0 ? std::optional(value) : std::nullopt;
}

} // namespace

VXGammuConfiguration VXGammuConfiguration::fromPreferences(const VXDevicePlugin &device)
{
    VXGammuConfiguration configuration{.file = textPreference(device, u"config_file"_s),
                                       .section = textPreference(device, u"config_section"_s),
                                       .model = textPreference(device, u"model"_s),
                                       .connection = textPreference(device, u"connection"_s),
                                       .port = textPreference(device, u"port"_s)};
    if (const int seconds = device.preferenceForKey(u"timeout"_s).toInt(); seconds > 0)
        configuration.timeout = std::chrono::seconds(seconds);
    return configuration;
}

VXError VXGammuConfiguration::applyTo(GSM_StateMachine *machine) const
{
    GSM_Config *const target = GSM_GetConfig(machine, 0);
    const VXError error = file.isNull() && section.isNull() ? setValues(target) : readSection(target);
    if (error)
        return error;
    target->UseGlobalDebugFile = FALSE; // nothing on the console
    if (target->DebugFile == nullptr || *target->DebugFile == '\0')
        std::strcpy(target->DebugLevel, "textall"); // tells the session that the phone has answered
    GSM_SetConfigNum(machine, 1);
    return {};
}

VXError VXGammuConfiguration::readSection(GSM_Config *target) const
{
    const QString cannotRead = VXGammuLocalizedString(u"The configuration file of the phone could not be read: %1"_s);
    if (!file.isNull() && !QFileInfo(file).isFile())
        return VXMakeGammuError(cannotRead, ERR_CANTOPENFILE);
    INI_Section *head = nullptr;
    const QByteArray path = QFile::encodeName(file);
    const GSM_Error found = GSM_FindGammuRC(&head, file.isNull() ? nullptr : path.constData());
    const Sections sections(head);
    if (found != ERR_NONE || !sections)
        return VXMakeGammuError(cannotRead, found == ERR_NONE ? ERR_UNCONFIGURED : found);
    const std::optional<int> number = numberOfSection(section);
    const GSM_Error read = number ? GSM_ReadConfig(sections.get(), target, *number) : ERR_NONE_SECTION;
    // Without a section "gammu" the library takes defaults, which were not asked for.
    if (read == ERR_NONE_SECTION || read == ERR_USING_DEFAULTS)
        return VXMakeGammuRequestError(
            VXGammuLocalizedString(u"The configuration file of the phone has no section \"%1\"."_s)
                .arg(section.isNull() ? u"gammu"_s : section));
    return read == ERR_NONE ? VXError() : VXMakeGammuError(cannotRead, read);
}

VXError VXGammuConfiguration::setValues(GSM_Config *target) const
{
    if (connection.isNull() || port.isNull())
        return VXMakeGammuRequestError(VXGammuLocalizedString(
            u"The phone is not configured: set connection and port, or config_file and config_section."_s));
    const QByteArray name = model == "auto"_L1 ? QByteArray() : model.toUtf8();
    if (size_t(name.size()) >= sizeof target->Model)
        return VXMakeGammuRequestError(VXGammuLocalizedString(u"No phone has the model \"%1\"."_s).arg(model));
    GSM_ReadConfig(nullptr, target, 0); // the library's defaults
    std::memcpy(target->Model, name.constData(), size_t(name.size()) + 1);
    replace(target->Device, port);
    replace(target->Connection, connection);
    return {};
}
