#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <optional>

/** What an argument stands for: "@FILE" the contents of the file, "-" all of standard input, any other text itself. None, with
 *  the problem, when that cannot be read. */
[[nodiscard]] std::optional<QByteArray> VXTextOfArgument(const QString &argument, QString *problem);
