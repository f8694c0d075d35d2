#include "VXErrorText.h"
#include "VXHostCommands.h"
#include "VXHostHelp.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXPropertyList.h"
#include "VXUserDefaults.h"
#include "VXUserFolders.h"

using namespace Qt::StringLiterals;

namespace {

int runRead(VXHostContext &context, const QString &domain, const QString &key)
{
    const QVariantMap values = VXUserDefaults::standardUserDefaults().persistentDomainForName(domain);
    if (key.isNull()) {
        context.output.answer(VXJSONFromVariant(values));
        return VXHostOutput::Done;
    }
    if (!values.contains(key))
        return context.output.fail(u"there is no key \"%1\" in the domain \"%2\""_s.arg(key, domain));
    context.output.answer(VXJSONFromVariant(values.value(key)));
    return VXHostOutput::Done;
}

int fail(VXHostContext &context, const VXError &error)
{
    const QString problem = VXProblemOfUserFolders();
    return context.output.fail(problem.isNull() ? VXErrorText(error) : problem);
}

int failValue(VXHostContext &context, const QString &problem)
{
    return context.output.failUsage(problem, VXHostUsage(context.options));
}

int runWrite(VXHostContext &context, const QString &domain, const QString &key, const QString &text)
{
    QString reason;
    const auto json = VXJSONFromText(text.toUtf8(), &reason);
    if (!json)
        return failValue(context, u"the value is no JSON: %1; texts need quotes, as '\"text\"'"_s.arg(reason));
    if (json->isNull())
        return failValue(context, u"null cannot be stored; \"vornix defaults delete\" removes a key"_s);
    const QVariant value = VXVariantFromJSON(*json);
    if (!VXPropertyList::isValid(value, &reason))
        return failValue(context, u"the value cannot be stored: %1"_s.arg(reason));
    VXError error;
    if (!VXUserDefaults::standardUserDefaults().setObject(value, key, domain, &error))
        return fail(context, error);
    return VXHostOutput::Done;
}

int runDelete(VXHostContext &context, const QString &domain, const QString &key)
{
    VXUserDefaults &defaults = VXUserDefaults::standardUserDefaults();
    VXError error;
    const bool done = key.isNull() ? defaults.removePersistentDomainForName(domain, &error)
                                   : defaults.setObject({}, key, domain, &error);
    return done ? static_cast<int>(VXHostOutput::Done) : fail(context, error);
}

int runDefaults(VXHostContext &context)
{
    const VXHostOptions &options = context.options;
    const QString verb = options.verb();
    if (verb == "write"_L1)
        return runWrite(context, options.operand(1), options.operand(2), options.operand(3));
    if (verb == "read"_L1)
        return runRead(context, options.operand(1), options.operand(2));
    return runDelete(context, options.operand(1), options.operand(2));
}

} // namespace

VXHostCommand VXDefaultsCommand()
{
    return {.name = u"defaults"_s,
            .summary = u"Read, write and delete preferences"_s,
            .details =
                u"\"read DOMAIN [KEY]\" shows the values of a domain, or one of them. \"write DOMAIN KEY VALUE\" "
                "stores a value. \"delete DOMAIN [KEY]\" removes one value, or the whole domain.\n"
                "Values are JSON; data is {\"$data\": BASE64} and a date is {\"$date\": ISO 8601}. The "
                "application's own domain is \"com.halvern.VNX2\"."_s,
            .verbs = {{u"read"_s, u"DOMAIN [KEY]"_s, 1, 2},
                      {u"write"_s, u"DOMAIN KEY VALUE"_s, 3, 3},
                      {u"delete"_s, u"DOMAIN [KEY]"_s, 1, 2}},
            .needsVerb = true,
            .run = runDefaults};
}
