#include "VXEventText.h"
#include "VXException.h"
#include "VXMethodLog.h"
#include "VXPrincipalClass.h"
#include "VXReactorPlugin.h"

#include <algorithm>

using namespace Qt::StringLiterals;

/** Writes a line to the log. */
class LogEventPlugin : public VXReactorPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE LogEventPlugin() = default;

    void reactToEventWithName(const QString &eventName, const QString &subtype, const QVariant &object,
                              const QVariantMap &options) override
    {
        const unsigned level = levelOption(options.value(u"level"_s));
        const QString pattern = options.value(u"text"_s, u"{event} {subtype}"_s).toString();
        QString text = VXEventText(pattern, {eventName, subtype, object}).trimmed();
        // A single line, whatever other people's text contains.
        const auto isControl = [](QChar character) { return character.category() == QChar::Other_Control; };
        std::replace_if(text.begin(), text.end(), isControl, QChar(u' '));
        VXLogMethod(level, "reactToEventWithName:subtype:object:options:", text);
    }

    VXReactorOptions reactorOptions() const override
    {
        return describedOptions(
            {{.key = u"level"_s,
              .meaning = u"How urgent it is: debug, info, notice, warning, error and so on, or 0 to 7."_s},
             {.key = u"text"_s, .meaning = u"The line; {event}, {subtype} and {KEY} are replaced."_s}});
    }
    QString problemOfOptions(const QVariantMap &options) const override
    {
        try {
            levelOption(options.value(u"level"_s));
        } catch (const VXException &exception) {
            return exception.reason();
        }
        return {};
    }

private:
    unsigned levelOption(const QVariant &option) const
    {
        bool isNumber = false;
        const unsigned number = option.toUInt(&isNumber);
        if (isNumber && number <= VXLogDebug)
            return number;
        for (unsigned level = VXLogFatal; level <= VXLogDebug; ++level) {
            if (VXLog::logLevelString(level).compare(option.toString(), Qt::CaseInsensitive) == 0)
                return level;
        }
        if (!option.isValid())
            return VXLogNotice;
        throw VXException(u"LogEventException"_s,
                          bundle()->localizedStringForKey(u"\"%1\" is no log level."_s).arg(option.toString()));
    }
};

VX_PRINCIPAL_CLASS(LogEventPlugin)

#include "LogEventPlugin.moc"
