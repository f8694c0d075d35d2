#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

/** One command of a script to the application, while it is carried out. Main thread only. */
class VX_EXPORT VXScriptCommand
{
public:
    /** `directParameter` is a value, or a VXObjectSpecifier of what the command is about, which counts from `application` on. */
    VXScriptCommand(const QVariant &directParameter, const QVariant &application)
        : _directParameter(directParameter), _application(application)
    {
    }
    virtual ~VXScriptCommand();

    QVariant directParameter() const { return _directParameter; }
    /**
     * The direct parameter; the objects that it specifies when it is a specifier. Invalid, logged, when that leads nowhere: the
     * error number and text tell why.
     */
    QVariant vx_evaluatedDirectParameter();

    /** 0 while nothing went wrong. */
    int scriptErrorNumber() const { return _scriptErrorNumber; }
    void setScriptErrorNumber(int number) { _scriptErrorNumber = number; }
    /** Null while nothing went wrong. */
    QString scriptErrorString() const { return _scriptErrorString; }
    void setScriptErrorString(const QString &text) { _scriptErrorString = text; }

private:
    const QVariant _directParameter;
    const QVariant _application;
    int _scriptErrorNumber = 0;
    QString _scriptErrorString;
};
