// The grammars of the dictionary's files and the member ids they give.
#pragma once

#include "tarvex/streams/xml/xmlschema.h"

namespace ParamsXml {

// Member ids: numbered from 1 in row order within each type.
enum : int {
    kValueData = 1,
    kValueComment = 2,
    kValuesValue = 1,
    kCategoriesCategory = 1,
    kParamName = 1,
    kParamComment = 2,
    kParamCategories = 3,
    kParamValues = 4,
    kParamDefault = 5,
    kParamDefaultComment = 6,
    kMeasurementUnit = 1,
    kMeasurementsMeasurement = 1,
    kRootParameter = 1,
    kRootMeasurements = 2,
};

// "params.xml".
const CXMLSchema& DictionarySchema();

// The defaults file: "PARAMETERS" of "PARAMETER" with "NAME", "DEFAULT" and
// "COMMENT".
enum : int { kDefaultName = 1, kDefaultValue = 2, kDefaultComment = 3, kDefaultsParameter = 1 };
const CXMLSchema& DefaultsSchema();

// The protection file: "Protection" of empty "Parameter" elements.
enum : int { kProtectionParameter = 1 };
const CXMLSchema& ProtectionSchema();

} // namespace ParamsXml
