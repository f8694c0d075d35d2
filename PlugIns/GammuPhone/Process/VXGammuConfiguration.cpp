#include "VXGammuConfiguration.h"

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

// The library frees the present text with free().
void replace(char *&text, const QString &value)
{
    std::free(text);
    text = ::strdup(QFile::encodeName(value).constData());
}

// 0 for "gammu", 1 for "gammu1" and "1"; none for anything that is not a section's name.
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

VXGammuConfiguration VXGammuConfiguration::fromValues(const QVariantMap &values)
{
    const auto text = [&values](const QString &key) {
        const QString value = values.value(key).toString().trimmed();
        return value.isEmpty() ? QString() : value;
    };
    VXGammuConfiguration configuration{.file = text(u"config_file"_s),
                                       .section = text(u"config_section"_s),
                                       .model = text(u"model"_s),
                                       .connection = text(u"connection"_s),
                                       .port = text(u"port"_s)};
    if (const int seconds = values.value(u"timeout"_s).toInt(); seconds > 0)
        configuration.timeout = std::chrono::seconds(seconds);
    return configuration;
}

VXGammuFailure VXGammuConfiguration::applyTo(GSM_StateMachine *machine) const
{
    GSM_Config *const target = GSM_GetConfig(machine, 0);
    const VXGammuFailure error = file.isNull() && section.isNull() ? setValues(target) : readSection(target);
    if (error)
        return error;
    target->UseGlobalDebugFile = FALSE; // nothing on the console
    if (target->DebugFile == nullptr || *target->DebugFile == '\0')
        std::strcpy(target->DebugLevel, "textall"); // lets the session know that the phone has answered
    GSM_SetConfigNum(machine, 1);
    return {};
}

VXGammuFailure VXGammuConfiguration::readSection(GSM_Config *target) const
{
    const QString cannotRead = u"The configuration file of the phone could not be read: %1"_s;
    if (!file.isNull() && !QFileInfo(file).isFile())
        return VXGammuTrouble(cannotRead, ERR_CANTOPENFILE);
    INI_Section *head = nullptr;
    const QByteArray path = QFile::encodeName(file);
    const GSM_Error found = GSM_FindGammuRC(&head, file.isNull() ? nullptr : path.constData());
    const Sections sections(head);
    if (found != ERR_NONE || !sections)
        return VXGammuTrouble(cannotRead, found == ERR_NONE ? ERR_UNCONFIGURED : found);
    const std::optional<int> number = numberOfSection(section);
    const GSM_Error read = number ? GSM_ReadConfig(sections.get(), target, *number) : ERR_NONE_SECTION;
    // Without a section "gammu" the library uses defaults that nobody asked for.
    if (read == ERR_NONE_SECTION || read == ERR_USING_DEFAULTS)
        return VXGammuRefusal(u"The configuration file of the phone has no section \"%1\"."_s,
                              {section.isNull() ? u"gammu"_s : section});
    return read == ERR_NONE ? VXGammuFailure() : VXGammuTrouble(cannotRead, read);
}

VXGammuFailure VXGammuConfiguration::setValues(GSM_Config *target) const
{
    if (connection.isNull() || port.isNull())
        return VXGammuRefusal(
            u"The phone is not configured: set connection and port, or config_file and config_section."_s);
    const bool isFile = port.startsWith(u'/') || connection == "none"_L1;
    if (isFile && !QFileInfo::exists(port)) // the library would say that opening it is not permitted
        return VXGammuTrouble(u"The phone could not be reached: %1"_s, ERR_DEVICENOTEXIST);
    const QByteArray name = model == "auto"_L1 ? QByteArray() : model.toUtf8();
    if (size_t(name.size()) >= sizeof target->Model)
        return VXGammuRefusal(u"No phone has the model \"%1\"."_s, {model});
    GSM_ReadConfig(nullptr, target, 0); // the library's defaults
    std::memcpy(target->Model, name.constData(), size_t(name.size()) + 1);
    replace(target->Device, port);
    replace(target->Connection, connection);
    return {};
}
