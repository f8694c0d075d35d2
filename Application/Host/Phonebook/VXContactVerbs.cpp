#include "VXContactVerbs.h"

using namespace Qt::StringLiterals;

const QList<VXContactVerb> &VXContactVerbs()
{
    static const QStringList values{u"first"_s,    u"last"_s,   u"nickname"_s, u"company"_s, u"job-title"_s, u"note"_s,
                                    u"birthday"_s, u"number"_s, u"email"_s,    u"url"_s,     u"group"_s};
    static const QList<VXContactVerb> verbs = {
        {u"lookup"_s, {u"all"_s}, 1, 1, u"STRING"_s, VXLookUpContact},
        {u"complete"_s, {u"limit"_s}, 1, 1, u"TEXT"_s, VXCompleteContact},
        {u"list"_s, {u"limit"_s, u"group"_s}, 0, 0, {}, VXListContacts},
        {u"show"_s, {}, 1, 1, u"CONTACT"_s, VXShowContact},
        {u"add"_s, values, 0, 1, u"[NAME]"_s, VXAddContact},
        {u"edit"_s, values + QStringList{u"drop"_s}, 1, 1, u"CONTACT"_s, VXEditContact},
        {u"delete"_s, {}, 1, 1, u"CONTACT"_s, VXDeleteContact},
        {u"import"_s, {u"dry-run"_s}, 1, 1, u"FILE"_s, VXImportContacts},
        {u"export"_s, {u"card-version"_s}, 1, 1, u"FILE"_s, VXExportContacts},
        {u"duplicates"_s, {u"merge"_s}, 0, 10'000, u"[NO|CONTACT|NAME]..."_s, VXShowDuplicateContacts},
        {u"undo-import"_s, {u"dry-run"_s}, 0, 0, {}, VXUndoContactImport}};
    return verbs;
}

QString VXContactUsage(const VXContactVerb &verb)
{
    QString usage = "usage: vornix phonebook "_L1 + verb.name;
    if (!verb.usage.isNull())
        usage += u' ' + verb.usage;
    return verb.options.isEmpty() ? usage : usage + " [OPTION]...; see vornix help phonebook"_L1;
}

QList<VXHostOption> VXContactOptions()
{
    const auto text = [](const QString &name, const QString &placeholder, const QString &summary) {
        return VXHostOption{
            .name = name, .placeholder = placeholder, .summary = summary + "; empty for none"_L1, .mayBeEmpty = true};
    };
    const auto more = [](const QString &name, const QString &placeholder, const QString &summary) {
        return VXHostOption{
            .name = name, .placeholder = placeholder, .summary = summary + "; may be repeated"_L1, .mayRepeat = true};
    };
    return {{u"all"_s, {}, u"Every entry with that number, the best first, and why"_s},
            {u"limit"_s, u"N"_s, u"At most N; 10 completions without"_s},
            more(u"group"_s, u"NAME"_s, u"Show only its members; or put the contact into it"_s),
            text(u"first"_s, u"NAME"_s, u"The first name"_s),
            text(u"last"_s, u"NAME"_s, u"The last name"_s),
            text(u"nickname"_s, u"NAME"_s, u"The nickname"_s),
            text(u"company"_s, u"NAME"_s, u"The company"_s),
            text(u"job-title"_s, u"TITLE"_s, u"The job title"_s),
            text(u"note"_s, u"TEXT"_s, u"The note"_s),
            text(u"birthday"_s, u"DATE"_s, u"The birthday, as 1985-04-12"_s),
            more(u"number"_s, u"NUMBER"_s, u"One more phone number, as \"+1 555 0100/Hm\""_s),
            more(u"email"_s, u"ADDRESS"_s, u"One more e-mail address, as \"jane@example.org/W\""_s),
            more(u"url"_s, u"URL"_s, u"One more page"_s),
            more(u"drop"_s, u"VALUE"_s, u"Without that number, address, page or group"_s),
            {u"dry-run"_s, {}, u"Only tell what would happen"_s},
            {u"merge"_s, {}, u"Make one contact of each"_s},
            {u"card-version"_s, u"VERSION"_s, u"The version of the vCards, 4.0 without"_s, {u"3.0"_s, u"4.0"_s}}};
}
