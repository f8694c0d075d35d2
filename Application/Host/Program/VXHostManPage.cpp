#include "VXHostHelp.h"

using namespace Qt::StringLiterals;

namespace {

// Text for troff: backslashes and dashes are escaped, and no line begins like a request.
QString escaped(const QString &text)
{
    QString result = text;
    result.replace(u'\\', "\\e"_L1).replace(u'-', "\\-"_L1);
    if (result.startsWith(u'.') || result.startsWith(u'\''))
        result.prepend("\\&"_L1);
    return result;
}

QString optionEntry(const VXHostOption &option)
{
    QString tag = "\\fB"_L1 + escaped("--"_L1 + option.name) + "\\fR"_L1;
    if (!option.placeholder.isNull())
        tag += " \\fI"_L1 + escaped(option.placeholder) + "\\fR"_L1;
    return ".TP\n"_L1 + tag + u'\n' + escaped(VXHostOptionSummary(option)) + ".\n"_L1;
}

QString commandSection(const VXHostCommand &command)
{
    QString text = ".SS "_L1 + escaped(command.name);
    if (!command.synopsis.isNull())
        text += u' ' + escaped(command.synopsis);
    text += u'\n' + escaped(command.summary) + ".\n"_L1;
    for (const QString &line : VXHostVerbLines(command))
        text += ".br\nvornix "_L1 + escaped(line) + u'\n';
    for (const QString &paragraph : command.details.split(u'\n', Qt::SkipEmptyParts))
        text += ".PP\n"_L1 + escaped(paragraph) + u'\n';
    for (const VXHostOption &option : command.options)
        text += optionEntry(option);
    return text;
}

} // namespace

QString VXHostManPage(const VXHostCommandTable &commands, const QString &version)
{
    QString text = u".TH VORNIX 1 \"\" \"vornix %1\" \"User Commands\"\n"_s.arg(version);
    text += uR"(.SH NAME
vornix \- manage mobile phones and the personal data kept with them
.SH SYNOPSIS
.B vornix
[\fIOPTION\fR]... \fICOMMAND\fR [\fIARGUMENT\fR]...
.SH OPTIONS
They may stand before or after the command.
)"_s;
    for (const VXHostOption &option : commands.globalOptions())
        text += optionEntry(option);
    text += ".SH COMMANDS\n"_L1;
    for (const VXHostCommand &command : commands.commands()) {
        if (!command.isHidden)
            text += commandSection(command);
    }
    return text + uR"(.SH EXIT STATUS
.TP
.B 0
Done.
.TP
.B 1
It failed, or there is no such thing here; a line on standard error tells why.
.TP
.B 2
Wrong usage, wherever it is typed: a command, option or value that cannot be read as one, or something missing. The usage follows
on standard error.
.SH ENVIRONMENT
.TP
.B HOME
Where the folders lie that the XDG variables do not name; \fB\-\-home\fR takes the place of all of them.
.TP
.BR XDG_CONFIG_HOME ", " XDG_DATA_HOME ", " XDG_STATE_HOME ", " XDG_CACHE_HOME
Where preferences, data and plugins, the log, and what can be made again lie.
.TP
.B VORNIX_PLUGIN_PATH
Folders with plugins that are being developed, separated by colons.
.TP
.B COLUMNS
How wide tables may be, where that is not the terminal's width.
.TP
.BR LANGUAGE ", " LC_ALL ", " LC_MESSAGES ", " LANG
The language of the titles and words in tables, and of what plugins say. Commands and their help are English.
.TP
.B SSL_CERT_FILE
The certificates that web requests trust, in place of the system's.
.SH FILES
.TP
.I $XDG_CONFIG_HOME/Vornix 2
Preferences, a property list for each domain.
.TP
.I $XDG_DATA_HOME/Vornix 2
Data and plugins.
.TP
.I $XDG_STATE_HOME/Vornix/error.log
The log.
.SH EXAMPLES
.TP
.B vornix devices do mine read_contacts
Read the contacts of the phone \(lqmine\(rq.
.TP
\fBvornix triggers add \-\-event incoming_call \-\-filter \(aqwho CONTAINS \(dqJane\(dq\(aq \-\-reactor logevent\fR
Log the calls of Jane.
.TP
.B vornix history \-\-why
Which triggers ran, and why.
.TP
.B vornix \-\-json store list calls VXCall \-\-sort date
The calls, as JSON.
)"_s;
}
