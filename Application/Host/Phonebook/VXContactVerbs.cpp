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
        {u"duplicates"_s, {u"merge"_s}, 0, 0, {}, VXShowDuplicateContacts},
        {u"undo-import"_s, {u"dry-run"_s}, 0, 0, {}, VXUndoContactImport}};
    return verbs;
}

QList<VXHostOption> VXContactOptions()
{
    return {{u"all"_s, {}, u"Of lookup: every entry with that number, the best first, and why"_s},
            {u"limit"_s, u"N"_s, u"Of complete and list: at most N; 10 completions without"_s},
            {u"group"_s, u"NAME"_s, u"Of list: only its members. Of add and edit: put into it; may be repeated"_s},
            {u"first"_s, u"NAME"_s, u"Of add and edit: the first name; as for the next ones, empty for none"_s},
            {u"last"_s, u"NAME"_s, u"The last name"_s},
            {u"nickname"_s, u"NAME"_s, u"The nickname"_s},
            {u"company"_s, u"NAME"_s, u"The company"_s},
            {u"job-title"_s, u"TITLE"_s, u"The job title"_s},
            {u"note"_s, u"TEXT"_s, u"The note"_s},
            {u"birthday"_s, u"DATE"_s, u"The birthday, as 1985-04-12"_s},
            {u"number"_s, u"NUMBER"_s, u"One more phone number, as \"+1 555 0100/Hm\"; may be repeated"_s},
            {u"email"_s, u"ADDRESS"_s, u"One more e-mail address, as \"jane@example.org/W\"; may be repeated"_s},
            {u"url"_s, u"URL"_s, u"One more page; may be repeated"_s},
            {u"drop"_s, u"VALUE"_s, u"Of edit: without that number, address, page or group; may be repeated"_s},
            {u"dry-run"_s, {}, u"Of import and undo-import: only tell what would happen"_s},
            {u"merge"_s, {}, u"Of duplicates: make one contact of each"_s},
            {u"card-version"_s,
             u"VERSION"_s,
             u"Of export: the version of the vCards, 4.0 without"_s,
             {u"3.0"_s, u"4.0"_s}}};
}
