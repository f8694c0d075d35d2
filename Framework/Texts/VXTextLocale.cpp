#include "VXTextLocale.h"

#include "VXFramework.h"

QLocale VXTextLocale()
{
    const QStringList languages = VXFrameworkBundle()->preferredLocalizations();
    const QLocale environment;
    if (languages.isEmpty() || environment.language() == QLocale::C)
        return languages.isEmpty() ? environment : QLocale(languages.first());
    const QLocale texts(languages.first());
    return texts.language() == environment.language() ? environment : texts;
}
