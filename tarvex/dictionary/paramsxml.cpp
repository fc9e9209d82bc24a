#include "tarvex/dictionary/paramsxml_internal.h"

namespace ParamsXml {
namespace {

class CTableSchema : public CXMLSchema {
public:
    CTableSchema(const tagXMLTypedef* table, int count) { InitSchema(table, count); }
};

template <int N>
int Count(const CXMLSchema::tagXMLTypedef (&)[N]) {
    return N;
}

} // namespace

// Built once; C++ makes the first use of a function-local static thread-safe,
// and readers only ever look the schema up.
const CXMLSchema& DictionarySchema() {
    static const CXMLSchema::tagXMLTypedef kTable[] = {
        {u"VALUE", 0},        {u"DATA", 1},           {u"COMMENT", 1},     {u"VALUES", 0},
        {u"VALUE", 2},        {u"CATEGORIES", 0},     {u"CATEGORY", 1},    {u"PARAMETER", 0},
        {u"NAME", 1},         {u"COMMENT", 1},        {u"CATEGORIES", 2},  {u"VALUES", 2},
        {u"DEFAULT", 1},      {u"DEFAULTCOMMENT", 1}, {u"MEASUREMENT", 0}, {u"MEASURE_UNIT", 1},
        {u"MEASUREMENTS", 0}, {u"MEASUREMENT", 2},    {u"PARAMETERS", 0},  {u"PARAMETER", 2},
        {u"MEASUREMENTS", 2},
    };
    static const CTableSchema schema(kTable, Count(kTable));
    return schema;
}

const CXMLSchema& DefaultsSchema() {
    static const CXMLSchema::tagXMLTypedef kTable[] = {
        {u"PARAMETER", 0}, {u"NAME", 1},       {u"DEFAULT", 1},
        {u"COMMENT", 1},   {u"PARAMETERS", 0}, {u"PARAMETER", 2},
    };
    static const CTableSchema schema(kTable, Count(kTable));
    return schema;
}

const CXMLSchema& ProtectionSchema() {
    static const CXMLSchema::tagXMLTypedef kTable[] = {{u"Protection", 0}, {u"Parameter", 1}};
    static const CTableSchema schema(kTable, Count(kTable));
    return schema;
}

} // namespace ParamsXml
