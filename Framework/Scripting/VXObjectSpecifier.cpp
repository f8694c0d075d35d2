#include "VXObjectSpecifier.h"

#include "VXKeyValueCoding.h"

#include <QtCore/QMetaProperty>
#include <QtCore/QRegularExpression>
#include <QtCore/QUrl>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype deepest = 32; // containers in a text

// Unlike VXValueForKey, calls no methods of QObjects: specifying a key reads a value, and has no other effect.
QVariant valueForKey(const QVariant &object, const QString &key)
{
    if (!object.metaType().flags().testFlag(QMetaType::PointerToQObject))
        return VXValueForKey(object, key);
    const auto *const target = object.value<QObject *>();
    if (target == nullptr)
        return {};
    if (dynamic_cast<const VXKeyValueCoding *>(target) != nullptr)
        return VXValueForKey(object, key);
    const int index = target->metaObject()->indexOfProperty(key.toUtf8().constData());
    return index < 0 ? QVariant() : target->metaObject()->property(index).read(target);
}

std::optional<QVariantList> elements(const QVariant &value)
{
    if (!value.canConvert<QVariantList>() || value.metaType() == QMetaType::fromType<QString>() ||
        value.metaType() == QMetaType::fromType<QByteArray>())
        return std::nullopt;
    return value.toList();
}

QVariant elementWithIdentifier(const QVariantList &list, const QString &identifier)
{
    for (const QVariant &element : list) {
        const QVariant url =
            valueForKey(element, u"url"_s); // of a device; what it has for an identifier is its plugin's
        if (url.isValid() ? url.toUrl() == QUrl(identifier)
                          : valueForKey(element, u"identifier"_s).toString() == identifier ||
                                valueForKey(element, u"as_identifier"_s).toString() == identifier)
            return element;
    }
    return {};
}

QString quoted(QString text)
{
    return u'"' + text.replace(u'\\', "\\\\"_L1).replace(u'"', "\\\""_L1) + u'"';
}

} // namespace

VXObjectSpecifier VXObjectSpecifier::property(const VXObjectSpecifier &container, const QString &containerClass,
                                              const QString &key)
{
    VXObjectSpecifier made;
    if (!container.isApplication())
        made._container = std::make_shared<const VXObjectSpecifier>(container);
    made._containerClass = containerClass;
    made._key = key.isNull() ? u""_s : key;
    return made;
}

VXObjectSpecifier VXObjectSpecifier::atIndex(const VXObjectSpecifier &container, const QString &containerClass,
                                             const QString &key, qsizetype index)
{
    VXObjectSpecifier made = property(container, containerClass, key);
    made._index = index;
    return made;
}

VXObjectSpecifier VXObjectSpecifier::withIdentifier(const VXObjectSpecifier &container, const QString &containerClass,
                                                    const QString &key, const QString &identifier)
{
    VXObjectSpecifier made = property(container, containerClass, key);
    made._identifier = identifier.isNull() ? u""_s : identifier;
    return made;
}

std::optional<VXObjectSpecifier> VXObjectSpecifier::fromText(const QString &text, QString *reason)
{
    static const QRegularExpression step(
        uR"step(\G(@?[A-Za-z_][A-Za-z0-9_]*)(?:\[(?:(-?[0-9]{1,9})|"((?:[^"\\]|\\.)*)")\])?(\.|$))step"_s,
        QRegularExpression::DotMatchesEverythingOption);
    static const QRegularExpression escaped(uR"(\\(.))"_s, QRegularExpression::DotMatchesEverythingOption);
    VXObjectSpecifier made;
    if (text.isEmpty() || text == "application"_L1)
        return made;
    qsizetype offset = 0;
    for (qsizetype depth = 0; offset < text.size() || depth == 0 || text.endsWith(u'.'); ++depth) {
        const QRegularExpressionMatch match = step.match(text, offset);
        if (!match.hasMatch() || depth == deepest) {
            if (reason != nullptr)
                *reason = depth == deepest ? u"it has too many parts"_s : u"what is \"%1\"?"_s.arg(text.sliced(offset));
            return std::nullopt;
        }
        if (match.hasCaptured(2) && !match.captured(2).isEmpty())
            made = atIndex(made, {}, match.captured(1), match.captured(2).toLongLong());
        else if (match.capturedStart(3) >= 0)
            made = withIdentifier(made, {}, match.captured(1), match.captured(3).replace(escaped, u"\\1"_s));
        else
            made = property(made, {}, match.captured(1));
        offset = match.capturedEnd();
    }
    return made;
}

QString VXObjectSpecifier::text() const
{
    if (isApplication())
        return u"application"_s;
    QString own = _key;
    if (_index)
        own += u"[%1]"_s.arg(*_index);
    else if (!_identifier.isNull())
        own += u'[' + quoted(_identifier) + u']';
    return _container ? _container->text() + u'.' + own : own;
}

VXObjectSpecifier::Evaluation VXObjectSpecifier::evaluate(const QVariant &application) const
{
    if (isApplication())
        return {.objects = application};
    Evaluation result = container().evaluate(application);
    if (result.errorNumber != VXSpecifierNoError)
        return result;
    const auto fail = [this](int number) {
        return Evaluation{.errorNumber = number, .failing = std::make_shared<const VXObjectSpecifier>(*this)};
    };
    const QVariant value = valueForKey(result.objects, _key);
    if (!value.isValid())
        return fail(VXSpecifierUnknownKey);
    if (!_index && _identifier.isNull())
        return {.objects = value};
    const std::optional<QVariantList> list = elements(value);
    if (!list)
        return fail(VXSpecifierOperationNotSupported);
    QVariant found;
    if (_index) {
        const qsizetype place = *_index < 0 ? list->size() + *_index : *_index;
        if (place >= 0 && place < list->size())
            found = list->at(place);
    } else {
        found = elementWithIdentifier(*list, _identifier);
    }
    return found.isValid() ? Evaluation{.objects = found} : fail(VXSpecifierInvalidIndex);
}
