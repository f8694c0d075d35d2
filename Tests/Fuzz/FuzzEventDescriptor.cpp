// Any bytes: reading ends with a descriptor or an error, what was read is written as it was, and no coercion fails badly.

#include "VXEventDescriptor.h"
#include "VXFuzzing.h"

namespace {

using Code = VXEventCode;

void coerce(const VXEventDescriptor &descriptor)
{
    for (const VXFourCharCode type : {Code::Text, Code::Boolean, Code::Int32, Code::Int64, Code::Real, Code::Code,
                                      Code::List, Code::Record, Code::ObjectSpecifier, Code::Comparison}) {
        const auto coerced = descriptor.coerceToType(type);
        require(!coerced || coerced->type() == type);
    }
    for (qsizetype index = 1; index <= descriptor.numberOfItems(); ++index)
        coerce(*descriptor.descriptorAtIndex(index));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    VXError error;
    const auto descriptor = VXEventDescriptor::fromBytes(bytes, &error);
    require(descriptor.has_value() != bool(error));
    if (!descriptor)
        return 0;
    require(descriptor->toBytes() == bytes);
    coerce(*descriptor);
    const QVariant value = descriptor->value();
    require(VXEventDescriptor::fromValue(value).value().isValid() == value.isValid());
    return 0;
}
