#pragma once
// Every handle that Handles.def lists, with the model's class that it wraps, for those who walk the list.

#include <krel5/AlertType.h>
#include <krel5/ChildBusType.h>
#include <krel5/DataType.h>
#include <krel5/DeviceCapability.h>
#include <krel5/DeviceState.h>
#include <krel5/EventType.h>
#include <krel5/KrelUnitMagnitude.h>
#include <krel5/KrelUnitType.h>
#include <krel5/Language.h>
#include <krel5/OperatingSystemArchitecture.h>
#include <krel5/OperatingSystemDistribution.h>
#include <krel5/OperatingSystemMajorVersion.h>
#include <krel5/OperatingSystemPlatform.h>
#include <krel5/ParameterSource.h>
#include <krel5/PropertyCategory.h>
#include <krel5/TestResult.h>
#include <krel5/TipType.h>

#include <zel/model/vocabulary/CapabilityImp.h>
#include <zel/model/vocabulary/PropertyCategoryImp.h>
#include <zel/model/vocabulary/Vocabularies.h>
