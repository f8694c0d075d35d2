#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <memory>
#include <optional>

/** Why a specifier cannot be resolved. */
enum VXSpecifierError : int {
    VXSpecifierNoError = 0,
    VXSpecifierUnknownKey = 3,
    VXSpecifierInvalidIndex = 4,          // also for an identifier that no element has
    VXSpecifierOperationNotSupported = 6, // an element of something that is no list
};

/**
 * Identifies objects by the way to reach them from the application: "devices", "devices[0].localizedDescription",
 * "plugins[\"org.example.hello\"]". A value type; copies share their containers.
 */
class VX_EXPORT VXObjectSpecifier
{
public:
    /** The application itself. */
    VXObjectSpecifier() = default;
    /** Everything that the container has under the key. `containerClass`: the name of the container's class; null for
     *  any. */
    static VXObjectSpecifier property(const VXObjectSpecifier &container, const QString &containerClass,
                                      const QString &key);
    /** The element at an index, from 0; a negative index counts from the end. */
    static VXObjectSpecifier atIndex(const VXObjectSpecifier &container, const QString &containerClass,
                                     const QString &key, qsizetype index);
    /** The element whose "url" (or, if it has none, "identifier" or "as_identifier") is that text. */
    static VXObjectSpecifier withIdentifier(const VXObjectSpecifier &container, const QString &containerClass,
                                            const QString &key, const QString &identifier);
    /** Parses keys separated by dots, each followed by an index or a quoted identifier in brackets if a single element
     *  is meant. Empty, with the reason, for anything else. */
    static std::optional<VXObjectSpecifier> fromText(const QString &text, QString *reason = nullptr);

    bool isApplication() const { return _key.isNull(); }
    VXObjectSpecifier container() const { return _container ? *_container : VXObjectSpecifier(); }
    QString containerClass() const { return _containerClass; }
    QString key() const { return _key; }
    std::optional<qsizetype> index() const { return _index; }
    /** The form that `fromText` parses; "application" for the application. */
    QString text() const;

    struct Evaluation
    {
        QVariant objects = {}; // invalid on failure
        int errorNumber = VXSpecifierNoError;
        std::shared_ptr<const VXObjectSpecifier> failing =
            {}; // the innermost one that cannot be resolved; null without an error
    };
    /** Resolves the specifier from the application's object on: entries of maps, values by key, and properties of
     *  QObjects; no method is called. On the objects' thread. */
    Evaluation evaluate(const QVariant &application) const;

    friend bool operator==(const VXObjectSpecifier &a, const VXObjectSpecifier &b) { return a.text() == b.text(); }

private:
    std::shared_ptr<const VXObjectSpecifier> _container; // null: the application
    QString _containerClass;
    QString _key;
    std::optional<qsizetype> _index;
    QString _identifier; // null if there is none
};

Q_DECLARE_METATYPE(VXObjectSpecifier)
