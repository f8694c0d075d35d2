#include "VXSavedState.h"

#include "VXUserDefaults.h"

#include <utility>

namespace {

constexpr int restInterval = 400; // ms

} // namespace

VXSavedState::VXSavedState(const QString &key, Source source, QObject *owner)
    : QObject(owner), _key(key), _source(std::move(source))
{
    _rest.setSingleShot(true);
    _rest.setInterval(restInterval);
    _rest.callOnTimeout(this, &VXSavedState::write);
}

VXSavedState::~VXSavedState() = default;

QVariant VXSavedState::value() const
{
    return VXUserDefaults::standardUserDefaults().objectForKey(_key);
}

void VXSavedState::changed()
{
    _isChanged = true;
    _rest.start();
}

void VXSavedState::write()
{
    _rest.stop();
    if (std::exchange(_isChanged, false))
        VXUserDefaults::standardUserDefaults().setObject(_source(), _key);
}
