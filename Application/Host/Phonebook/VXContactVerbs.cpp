#include "VXContactVerbs.h"

using namespace Qt::StringLiterals;

const QList<VXContactVerb> &VXContactVerbs()
{
    static const QStringList files{u"files"_s}; // kinds of words
    static const QStringList contacts{u"contacts"_s};
    static const QList<VXContactVerb> verbs = {
        {{u"lookup"_s, u"STRING"_s, 1, 1}, VXLookUpContact},
        {{u"complete"_s, u"TEXT"_s, 1, 1}, VXCompleteContact},
        {{u"list"_s}, VXListContacts},
        {{u"show"_s, u"CONTACT"_s, 1, 1, contacts}, VXShowContact},
        {{u"add"_s, u"[NAME]"_s, 0, 1}, VXAddContact},
        {{u"edit"_s, u"CONTACT"_s, 1, 1, contacts}, VXEditContact},
        {{u"delete"_s, u"CONTACT"_s, 1, 1, contacts}, VXDeleteContact},
        {{u"import"_s, u"FILE"_s, 1, 1, files}, VXImportContacts},
        {{u"export"_s, u"FILE"_s, 1, 1, files}, VXExportContacts},
        {{u"duplicates"_s, u"[NO|CONTACT|NAME]..."_s, 0, VXHostVerb::unlimited}, VXShowDuplicateContacts},
        {{u"undo-import"_s}, VXUndoContactImport}};
    return verbs;
}

QList<VXHostOption> VXContactOptions()
{
    const QStringList changes{u"add"_s, u"edit"_s};
    const auto text = [&changes](const QString &name, const QString &placeholder, const QString &summary) {
        return VXHostOption{.name = name,
                            .placeholder = placeholder,
                            .summary = summary + "; empty for none"_L1,
                            .verbs = changes,
                            .mayBeEmpty = true};
    };
    const auto more = [](const QString &name, const QString &placeholder, const QString &summary,
                         const QStringList &verbs) {
        return VXHostOption{.name = name,
                            .placeholder = placeholder,
                            .summary = summary + "; may be repeated"_L1,
                            .verbs = verbs,
                            .mayRepeat = true};
    };
    return {{u"all"_s, {}, u"Every entry with that number, the best first, and why"_s, {}, {u"lookup"_s}},
            {u"limit"_s, u"N"_s, u"At most N, 0 for all; 10 completions without"_s, {}, {u"complete"_s, u"list"_s}},
            more(u"group"_s, u"NAME"_s, u"Show only its members; or put the contact into it"_s,
                 QStringList{u"list"_s} + changes),
            text(u"first"_s, u"NAME"_s, u"The first name"_s),
            text(u"middle"_s, u"NAME"_s, u"The middle name"_s),
            text(u"last"_s, u"NAME"_s, u"The last name"_s),
            text(u"nickname"_s, u"NAME"_s, u"The nickname"_s),
            text(u"company"_s, u"NAME"_s, u"The company"_s),
            text(u"job-title"_s, u"TITLE"_s, u"The job title"_s),
            text(u"note"_s, u"TEXT"_s, u"The note"_s),
            text(u"birthday"_s, u"DATE"_s, u"The birthday, as 1985-04-12"_s),
            more(u"number"_s, u"NUMBER"_s, u"One more phone number, as \"+1 555 0100/Hm\""_s, changes),
            more(u"email"_s, u"ADDRESS"_s, u"One more e-mail address, as \"jane@example.org/W\""_s, changes),
            more(u"url"_s, u"URL"_s, u"One more page"_s, changes),
            more(u"address"_s, u"ADDRESS"_s,
                 u"One more postal address, as \"1 Mill Lane; Town; State; 12345; Country/H\""_s, changes),
            more(u"drop"_s, u"VALUE"_s, u"Without that number, address, page or group"_s, {u"edit"_s}),
            {u"dry-run"_s, {}, u"Only tell what would happen"_s, {}, {u"import"_s, u"undo-import"_s}},
            {u"merge"_s, {}, u"Make one contact of each"_s, {}, {u"duplicates"_s}},
            {u"card-version"_s,
             u"VERSION"_s,
             u"The version of the vCards, 4.0 without"_s,
             {u"3.0"_s, u"4.0"_s},
             {u"export"_s}}};
}
