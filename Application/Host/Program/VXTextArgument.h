#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <optional>

/**
 * What an argument stands for: "@FILE" means the contents of the file, "-" all of standard input, anything else the
 * text itself. None, with the problem, if that cannot be read.
 */
[[nodiscard]] std::optional<QByteArray> VXTextOfArgument(const QString &argument, QString *problem);
