#include "VXColor.h"
#include "VXDeviceTesting.h"
#include "VXInitializeInterface.h"
#include "VXValueTransformer.h"

using namespace Qt::StringLiterals;

class VXDeviceTransformerTest : public VXDeviceHomeTest
{
protected:
    VXDeviceTransformerTest() { VXInitializeInterface(); }
    static QVariant transformed(const QString &name, const QVariant &value)
    {
        return VXValueTransformer::valueTransformerForName(name)->transformedValue(value);
    }
};

TEST_F(VXDeviceTransformerTest, TextsAndURLs)
{
    const QString name = u"VXDeviceStringToURL"_s;
    const QString text = u"vxdevice://localhost/p/d%201"_s;
    EXPECT_EQ(transformed(name, text), QVariant(QUrl(text)));
    for (const QVariant &value : {QVariant(), QVariant(u""_s), QVariant(7), QVariant(u"no url"_s)})
        EXPECT_FALSE(transformed(name, value).isValid()) << value.toString().toStdString();
    const auto transformer = VXValueTransformer::valueTransformerForName(name);
    EXPECT_TRUE(transformer->allowsReverseTransformation());
    EXPECT_EQ(transformer->reverseTransformedValue(QUrl(text)), QVariant(text));
}

TEST_F(VXDeviceTransformerTest, NamesOfDevices)
{
    VXUserDefaults::standardUserDefaults().setObject(u"My phone"_s, u"org.phones.one.name"_s);
    startWithPhones({u"one"_s});
    setList({VXAbsoluteString(phone(u"one"_s)), u"vxdevice://localhost/org.gone/lost"_s});
    const std::pair<QVariant, QVariant> cases[] = {
        {phone(u"one"_s), u"My phone"_s},
        {u"vxdevice://localhost/org.phones/one/messages/7"_s, u"My phone"_s},
        {u"vxdevice://localhost/org.gone/lost"_s, u"lost"_s},
        {u"vxdevice://localhost/org.phones/never%2Fadded/x"_s, u"never/added"_s},
        {u"vxdevice://localhost/"_s, {}},
        {u""_s, {}},
        {QUrl(), {}},
        {5, {}},
    };
    for (const auto &[value, name] : cases)
        EXPECT_EQ(transformed(u"VXDeviceNameAtURL"_s, value), name) << value.toString().toStdString();
    EXPECT_FALSE(VXValueTransformer::valueTransformerForName(u"VXDeviceNameAtURL"_s)->allowsReverseTransformation());

    const auto atPath = VXValueTransformer::valueTransformerForName(u"VXDeviceAtPath"_s);
    EXPECT_EQ(atPath->transformedValue(phone(u"one"_s)).value<VXDevicePlugin *>(),
              VXDevicePlugin::deviceAtURL(phone(u"one"_s)).get());
    EXPECT_FALSE(atPath->transformedValue(QUrl(u"vxdevice://localhost/org.phones/one/x"_s)).isValid());
    EXPECT_FALSE(atPath->transformedValue({}).isValid());
    EXPECT_TRUE(atPath->allowsReverseTransformation());
    EXPECT_EQ(atPath->reverseTransformedValue(phone(u"one"_s)), QVariant(u"/org.phones/one"_s));
}

TEST_F(VXDeviceTransformerTest, OfflineIsGrey)
{
    const auto colour = [](const QVariant &value) {
        return transformed(u"VXDeviceOnlineColor"_s, value).value<VXColor>().name;
    };
    EXPECT_EQ(colour(true), u"black"_s);
    EXPECT_EQ(colour({}), u"black"_s) << "not known";
    EXPECT_EQ(colour(false), u"gray"_s);
}
