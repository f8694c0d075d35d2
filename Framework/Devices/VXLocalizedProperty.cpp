#include "VXLocalizedProperty.h"

#include "VXValueTransformer.h"

VXLocalizedProperty::VXLocalizedProperty(const QVariant &value, const QString &title, int priority,
                                         const QString &valueTransformerName)
    : _value(value), _title(title), _priority(priority), _valueTransformerName(valueTransformerName)
{
}

QVariant VXLocalizedProperty::transformedValue() const
{
    const VXValueTransformer::Ptr transformer =
        _valueTransformerName.isNull() ? nullptr : VXValueTransformer::valueTransformerForName(_valueTransformerName);
    return transformer ? transformer->transformedValue(_value) : _value;
}
