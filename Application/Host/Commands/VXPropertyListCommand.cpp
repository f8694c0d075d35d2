#include "VXHostCommands.h"
#include "VXHostHelp.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXPropertyList.h"
#include "VXReadablePropertyList.h"

#include <QtCore/QFile>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

QVariant readInput(const QString &path, VXError *error)
{
    if (path != "-"_L1)
        return VXPropertyList::fromFile(path, error);
    QFile input;
    if (!input.open(stdin, QIODevice::ReadOnly)) {
        VXSetError(error, VXError::platformError(VXPlatformErrorCode::FileRead, u"Unable to read standard input"_s));
        return {};
    }
    return VXPropertyList::fromData(input.readAll(), error);
}

// The requested form: "text" for people, "json" for --json, else what --to says.
QString formName(const VXHostContext &context)
{
    if (context.options.isSet(u"to"_s))
        return context.options.value(u"to"_s);
    return context.output.isJSON() ? u"json"_s : u"text"_s;
}

// Null, with the error, if the value cannot be written in that form.
QByteArray converted(const QVariant &value, const QString &form, VXError *error)
{
    if (form == "json"_L1)
        return VXJSONText(VXJSONFromVariant(value), QJsonDocument::Indented) + '\n';
    if (form == "text"_L1)
        return VXReadablePropertyList(value).toUtf8();
    const auto format = form == "xml"_L1 ? VXPropertyList::Format::XML : VXPropertyList::Format::Binary;
    return VXPropertyList::toData(value, format, error);
}

int writeFile(VXHostOutput &output, const QString &path, const QByteArray &bytes)
{
    QString reason;
    if (!VXAtomicFile::replace(path, bytes, &reason, VXFileAccess::Shared))
        return output.fail(u"cannot write %1: %2"_s.arg(path, reason));
    return VXHostOutput::Done;
}

// The options that contradict each other; null if none do.
QString contradiction(const VXHostContext &context, const QString &form)
{
    if (context.options.isSet(u"output"_s))
        return {};
    if (context.output.isJSON() && form != "json"_L1)
        return u"--json and --to %1 exclude each other without --output"_s.arg(form);
    if (form == "binary"_L1 && context.output.isTerminal())
        return u"a binary property list is not written to a terminal; use --output"_s;
    return {};
}

int runPropertyList(VXHostContext &context)
{
    const VXHostOptions &options = context.options;
    VXHostOutput &output = context.output;
    const QString form = formName(context);
    if (const QString problem = contradiction(context, form); !problem.isNull())
        return output.failUsage(problem, VXHostUsage(options.command()));

    VXError error;
    const QVariant value = readInput(options.operand(0), &error);
    if (!value.isValid())
        return output.fail(error.description());
    if (output.isJSON() && !options.isSet(u"output"_s)) {
        output.answer(VXJSONFromVariant(value));
        return VXHostOutput::Done;
    }
    const QByteArray bytes = converted(value, form, &error);
    if (bytes.isNull())
        return output.fail(error.description());
    if (options.isSet(u"output"_s))
        return writeFile(output, options.value(u"output"_s), bytes);
    output.answerBytes(bytes);
    return VXHostOutput::Done;
}

} // namespace

VXHostCommand VXPropertyListCommand()
{
    return {.name = u"plist"_s,
            .summary = u"Show or convert a property list"_s,
            .synopsis = u"FILE"_s,
            .details = u"Reads an XML or binary property list from FILE, or from standard input when it is \"-\", and "
                       "shows it for people unless told otherwise.\n"
                       "In JSON, data is {\"$data\": BASE64} and a date is {\"$date\": ISO 8601}."_s,
            .options = {{u"to"_s, u"FORM"_s, u"Convert it"_s, {u"xml"_s, u"binary"_s, u"json"_s}},
                        {u"output"_s, u"FILE"_s, u"Write to FILE, which is replaced only when all is well"_s}},
            .minimumOperands = 1,
            .maximumOperands = 1,
            .run = runPropertyList};
}
