#include "VXDeviceFinding.h"

VXDeviceFinding::VXDeviceFinding() = default;

VXDeviceFinding::~VXDeviceFinding() = default;

void VXDeviceFinding::add(const VXFoundDevice &device)
{
    if (!_isConcluded)
        _devices.append(device);
}

void VXDeviceFinding::setProblem(const VXError &problem)
{
    if (!_isConcluded)
        _problem = problem;
}

void VXDeviceFinding::conclude()
{
    if (_isConcluded)
        return;
    _isConcluded = true;
    Q_EMIT didConclude();
}
