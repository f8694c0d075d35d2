#pragma once

#include "VXJSON.h"
