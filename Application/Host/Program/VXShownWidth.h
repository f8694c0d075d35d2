#pragma once

#include <QtCore/QString>

/** How many columns of a terminal a text takes: characters of East Asian scripts and pictographs take two, accents none. */
[[nodiscard]] qsizetype VXShownWidth(QStringView text);

/** The text, or as much of it as fits, with "…" at its end; at least the "…". */
[[nodiscard]] QString VXCutToWidth(const QString &text, qsizetype width);
