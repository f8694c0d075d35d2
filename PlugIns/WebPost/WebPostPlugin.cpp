#include "VXEventText.h"
#include "VXException.h"
#include "VXFormDelivery.h"
#include "VXNone.h"
#include "VXObjectValues.h"
#include "VXOutboxSender.h"
#include "VXPluginOptions.h"
#include "VXPrincipalClass.h"
#include "VXReactorPlugin.h"
#include "VXTextWithoutPasswords.h"

using namespace Qt::StringLiterals;

namespace {

constexpr double standardTimeout = 30; // seconds

VXFormField textField(const QString &name, const QString &text)
{
    return {.name = name, .text = text.isNull() ? u""_s : text, .filePath = {}};
}

} // namespace

/**
 * Posts the event's values to a web server, by way of the outbox: what cannot be delivered now is kept and tried again.
 * The event's values are always sent as text, whatever they are.
 */
class WebPostPlugin : public VXReactorPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE WebPostPlugin() = default;

    void reactToEventWithName(const QString &eventName, const QString &subtype, const QVariant &object,
                              const QVariantMap &options) override
    {
        const QUrl url = urlOption(options);
        const double timeout = timeoutOption(options);
        const QList<VXFormField> fields = fieldsOf({eventName, subtype, object}, options);
        const std::optional<VXOutbox> outbox = VXOutbox::sharedOutbox();
        if (!outbox)
            fail(u"The form could not be put into the outbox: %1"_s,
                 bundle()->localizedStringForKey(u"There is none; the log tells why."_s));
        VXError error;
        const auto number = outbox->add(VXFormDelivery::kind, url.toString(QUrl::FullyEncoded),
                                        VXEventText(u"{event} {subtype}"_s, {eventName, subtype, {}}).trimmed(),
                                        VXFormDelivery::payload(url, fields, timeout), &error);
        if (!number)
            fail(u"The form could not be put into the outbox: %1"_s, error.localizedDescription());
        remark(bundle()->localizedStringForKey(u"The form is in the outbox as p%1, to be sent."_s).arg(*number));
    }

    VXReactorOptions reactorOptions() const override
    {
        using Type = VXReactorOption::Type;
        return describedOptions(
            {{.key = u"url"_s, .meaning = u"Where to post to, http or https."_s, .isNeeded = true},
             {.key = u"fields"_s,
              .type = Type::List,
              .meaning = u"Which of the object's values, as KEY or NAME=KEY; all of them without it."_s},
             {.key = u"extra"_s,
              .type = Type::List,
              .meaning = u"More fields, as NAME=TEXT; {event}, {subtype} and {KEY} are replaced."_s},
             {.key = u"timeout"_s,
              .type = Type::Number,
              .meaning = u"After how many seconds without a byte sent or received it is given up."_s}});
    }
    QString problemOfOptions(const QVariantMap &options) const override
    {
        try {
            (void)urlOption(options);
            (void)timeoutOption(options);
            (void)extraOption(options);
        } catch (const VXException &exception) {
            return exception.reason();
        }
        return {};
    }

    void pluginDidLoad() override
    {
        if (const std::optional<VXOutbox> outbox = VXOutbox::sharedOutbox())
            _sender.start(VXFormDelivery::kind, *outbox, VXFormDelivery::deliver);
    }
    int pluginShouldUnload() override { return _sender.shouldUnload(); }
    void pluginWillUnload() override { _sender.stop(); }

private:
    QUrl urlOption(const QVariantMap &options) const
    {
        const QString text = options.value(u"url"_s).toString();
        const QUrl url(text, QUrl::StrictMode);
        if (text.isEmpty())
            fail(u"No URL to post to is set."_s);
        if (url.host().isEmpty() || (url.scheme() != "http"_L1 && url.scheme() != "https"_L1))
            fail(u"\"%1\" is no URL of the web."_s, VXTextWithoutPasswords(text));
        return url;
    }

    double timeoutOption(const QVariantMap &options) const
    {
        const QVariant value = options.value(u"timeout"_s);
        bool isNumber = true;
        const double seconds = VXIsNone(value) ? standardTimeout : value.toDouble(&isNumber);
        if (!isNumber || !(seconds > 0))
            fail(u"The time-out must be a number of seconds, more than 0."_s);
        return seconds;
    }

    QStringList extraOption(const QVariantMap &options) const
    {
        QStringList extras = VXListOption(options, u"extra"_s);
        for (const QString &extra : extras) {
            if (!extra.contains(u'='))
                fail(u"\"%1\" is no NAME=TEXT."_s, extra);
        }
        return extras;
    }

    // "fields": which values under which names, or all of them without it; "extra": texts with {KEY}.
    QList<VXFormField> fieldsOf(const VXEvent &event, const QVariantMap &options) const
    {
        QList<VXFormField> fields{textField(u"event"_s, event.name), textField(u"subtype"_s, event.subtype)};
        QStringList chosen = VXListOption(options, u"fields"_s);
        if (chosen.isEmpty())
            chosen = VXKeysOfObject(event.object);
        for (const QString &choice : chosen) {
            const QString name = choice.section(u'=', 0, 0).trimmed();
            const QString key = choice.contains(u'=') ? choice.section(u'=', 1).trimmed() : name;
            const QVariant value = VXValueForKeyPath(event.object, key);
            if (!VXIsNone(value))
                fields.append(textField(name, VXValueText(value, true)));
        }
        for (const QString &extra : extraOption(options))
            fields.append(textField(extra.section(u'=', 0, 0).trimmed(), VXEventText(extra.section(u'=', 1), event)));
        return fields;
    }

    [[noreturn]] void fail(const QString &reason, const QString &argument = {}) const
    {
        const VXBundle::Ptr found = bundle();
        const QString text = found ? found->localizedStringForKey(reason) : reason;
        throw VXException(u"WebPostException"_s, argument.isNull() ? text : text.arg(argument));
    }

    VXOutboxSender _sender{*this};
};

VX_PRINCIPAL_CLASS(WebPostPlugin)

#include "WebPostPlugin.moc"
