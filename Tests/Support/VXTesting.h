#pragma once

#include "VXError.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>
#include <QtCore/QVariant>

#include <functional>
#include <memory>
#include <ostream>

// How GoogleTest shows Qt's values.
void PrintTo(const QString &text, std::ostream *out);
void PrintTo(const QByteArray &bytes, std::ostream *out);
void PrintTo(const QVariant &value, std::ostream *out);
void PrintTo(const VXError &error, std::ostream *out);

/**
 * A test in a fresh home folder: HOME and the XDG folders lie below it. ctest runs each test in a process of its
 * own, so singletons are fresh there too.
 */
class VXHomeTest : public testing::Test
{
protected:
    VXHomeTest();
    ~VXHomeTest() override;

    /** An absolute path below the home folder. */
    QString path(const QString &relative = {}) const;
    /** Writes a file below the home folder, with the folders it needs; returns its path. */
    QString writeFile(const QString &relative, const QByteArray &contents) const;
    static QByteArray readFile(const QString &path);

private:
    QTemporaryDir _home;
};

/** Runs the main event loop until the condition holds; false after 10 seconds without it. */
[[nodiscard]] bool VXRunUntil(const std::function<bool()> &condition);

/** The reason of the assertion that fails in the call; null when none does. */
QString VXReasonOfAssertion(const std::function<void()> &call);

/** The diagnostics of the platform layer while it lives, in place of the console. One at a time; any thread. */
class VXDiagnosticRecorder
{
public:
    VXDiagnosticRecorder();
    ~VXDiagnosticRecorder();
    QStringList texts() const;
};
