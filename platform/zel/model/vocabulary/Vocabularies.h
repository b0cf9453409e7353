#pragma once
// Every vocabulary that Vocabularies.def lists, for those who walk the list.

#include <zel/model/vocabulary/AlertTypeImp.h>
#include <zel/model/vocabulary/ChildBusTypeImp.h>
#include <zel/model/vocabulary/DataTypeImp.h>
#include <zel/model/vocabulary/DeviceStateImp.h>
#include <zel/model/vocabulary/EventTypeImp.h>
#include <zel/model/vocabulary/LanguageImp.h>
#include <zel/model/vocabulary/ModuleTypeImp.h>
#include <zel/model/vocabulary/OperatingSystemArchitectureImp.h>
#include <zel/model/vocabulary/OperatingSystemDistributionImp.h>
#include <zel/model/vocabulary/OperatingSystemMajorVersionImp.h>
#include <zel/model/vocabulary/OperatingSystemPlatformImp.h>
#include <zel/model/vocabulary/ParameterSourceImp.h>
#include <zel/model/vocabulary/TestResultImp.h>
#include <zel/model/vocabulary/TestStateImp.h>
#include <zel/model/vocabulary/TipTypeImp.h>
#include <zel/model/vocabulary/UnitMagnitude.h>
#include <zel/model/vocabulary/UnitType.h>
