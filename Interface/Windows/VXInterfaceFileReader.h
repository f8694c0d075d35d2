#pragma once

class QDir;
class QIODevice;
class QString;
class QWidget;

/**
 * Makes the widgets of an interface file; `folder` is that of the pictures it names. None, with the reason, when it is no
 * such file. The function lies in a module that is loaded with the first file, since the libraries it is linked with would
 * make each start of the program slower. Main thread only.
 */
using VXReadInterfaceFileFunction = QWidget *(QIODevice &file, const QDir &folder, QString *reason);

inline constexpr char VXReadInterfaceFileSymbol[] = "VXReadInterfaceFile";
