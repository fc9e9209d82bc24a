// The dynamic accessor, the converters and the static bindings on SQLite.
#include <cstring>

#include "dbtest.h"
#include "tarvex/database/odbctextfield.h"
#include "tarvex/platform/safearray.h"

using namespace dbtest;

namespace {

class Accessor : public SqliteTest {
protected:
    void SetUp() override {
        SqliteTest::SetUp();
        Open(session);
    }
    CODBCSession session;
};

template <class F>
std::string MessageOf(F&& action) {
    try {
        action();
    } catch (const CODBCException& e) {
        return Narrow(e.GetMessageW());
    }
    return "(no exception)";
}

TEST_F(Accessor, ALateColumnBeforeABoundOneMakesEveryColumnLate) {
    session.ExecDirect(u"CREATE TABLE t(a INTEGER, b TEXT, c INTEGER)", nullptr);
    session.ExecDirect(u"INSERT INTO t VALUES(1, 'один', 3)", nullptr);

    CODBCDynamicCommand mixed;
    mixed.Open(session, u"SELECT a, b, c FROM t");
    EXPECT_FALSE(mixed.IsAllBound());
    ASSERT_TRUE(mixed.MoveNext());
    for (short c = 1; c <= 3; ++c) EXPECT_FALSE(mixed.GetColumn(c)->bound);
    EXPECT_EQ(mixed.GetString(1), u"1");
    EXPECT_EQ(mixed.GetString(2), u"один");
    EXPECT_EQ(mixed.GetString(3), u"3");

    CODBCDynamicCommand tail;
    tail.Open(session, u"SELECT a, c, b FROM t");
    EXPECT_TRUE(tail.IsAllBound());
    EXPECT_TRUE(tail.GetColumn(1)->bound);
    EXPECT_TRUE(tail.GetColumn(2)->bound);
    EXPECT_FALSE(tail.GetColumn(3)->bound);
    ASSERT_TRUE(tail.MoveNext());
    EXPECT_EQ(tail.GetString(3), u"один");
    short type = 0;
    EXPECT_TRUE(tail.GetColumnType(tail, 1, &type));
    EXPECT_EQ(type, 4);
    EXPECT_TRUE(tail.GetColumnType(tail, 3, &type));
    EXPECT_EQ(type, -8);
    EXPECT_FALSE(tail.GetColumnType(tail, 4, &type));
    EXPECT_FALSE(tail.GetColumnType(tail, 0, &type));
    CString name;
    EXPECT_TRUE(tail.GetColumnName(2, name));
    EXPECT_EQ(name, u"c");
    EXPECT_FALSE(tail.MoveNext());
}

TEST_F(Accessor, ColumnTypesOfTheDriverAndTheirValues) {
    session.ExecDirect(u"CREATE TABLE t(i INTEGER, d DOUBLE, v VARCHAR(10), ts TIMESTAMP, "
                       u"b BLOB, big BIGINT)",
                       nullptr);
    session.ExecDirect(u"INSERT INTO t VALUES(-5, 2.5, 'abc', '2024-01-02 03:04:05.123', "
                       u"x'00ff10', 5000000000)",
                       nullptr);
    CODBCDynamicCommand command;
    command.Open(session, u"SELECT i, d, v, ts, big, b FROM t");
    ASSERT_TRUE(command.MoveNext());
    const short expected[] = {4, 8, -8, 11, -25, -2};
    for (short c = 1; c <= 6; ++c) {
        short type = 0;
        ASSERT_TRUE(command.GetColumnType(command, c, &type));
        EXPECT_EQ(type, expected[c - 1]) << "column " << c;
    }
    EXPECT_EQ(command.GetString(1), u"-5");
    EXPECT_EQ(command.GetString(2), u"2.5");
    EXPECT_EQ(command.GetString(3), u"abc");
    EXPECT_EQ(command.GetString(4), u"2024-01-02 03:04:05.123");
    EXPECT_EQ(command.GetString(5), u"5000000000");
    std::int64_t length = 0;
    EXPECT_TRUE(command.GetLength(command, 6, &length));
    EXPECT_EQ(length, 3);
    EXPECT_EQ(std::memcmp(command.GetColumn(6)->buffer, "\x00\xff\x10", 3), 0);
    COleVariant value = command.GetColumnValue(command, 1);
    EXPECT_EQ(value.vt, VT_I4);
    EXPECT_EQ(value.lVal, -5);
    value = command.GetColumnValue(command, 2);
    EXPECT_EQ(value.vt, VT_R8);
    EXPECT_EQ(value.dblVal, 2.5);
    EXPECT_EQ(CODBCDataConverter::ToDouble(4, eOdbcStatusValue, command.GetColumn(1)->buffer), -5);
}

TEST_F(Accessor, LongTextArrivesWholeAndNullIsStatusMinusOne) {
    session.ExecDirect(u"CREATE TABLE t(id INTEGER, body TEXT)", nullptr);
    const CString body = RepeatText(u"Щ0123456789", 2000); // 22000 characters
    CODBCDynamicCommand insert;
    insert.AddParamWithValue(body);
    insert.Open(session, u"INSERT INTO t VALUES(1, ?)");
    session.ExecDirect(u"INSERT INTO t VALUES(2, NULL)", nullptr);

    CODBCDynamicCommand command;
    command.Open(session, u"SELECT body FROM t ORDER BY id");
    ASSERT_TRUE(command.MoveNext());
    std::int64_t length = 0;
    ASSERT_TRUE(command.GetLength(command, 1, &length));
    EXPECT_EQ(length, body.GetLength());
    EXPECT_TRUE(command.GetString(1) == body);

    ASSERT_TRUE(command.MoveNext());
    ODBCStatus status = eOdbcStatusValue;
    ASSERT_TRUE(command.GetStatus(command, 1, &status));
    EXPECT_EQ(status, eOdbcStatusNull);
    EXPECT_TRUE(command.GetString(1).IsEmpty());
    EXPECT_TRUE(command.GetLength(command, 1, &length));
    EXPECT_EQ(length, 0);
    EXPECT_EQ(command.GetColumnValue(command, 1).vt, VT_EMPTY);
}

TEST_F(Accessor, ColumnsReadOnFirstAccessWhenAutoGetDataIsOff) {
    session.ExecDirect(u"CREATE TABLE t(a INTEGER, b TEXT)", nullptr);
    session.ExecDirect(u"INSERT INTO t VALUES(7, 'late')", nullptr);
    CODBCDynamicCommand command;
    command.SetAutoGetData(false);
    command.Open(session, u"SELECT a, b FROM t");
    ASSERT_TRUE(command.MoveNext());
    EXPECT_FALSE(command.GetColumn(2)->fetched);
    EXPECT_EQ(command.GetString(2), u"late");
    EXPECT_TRUE(command.GetColumn(2)->fetched);
}

TEST_F(Accessor, ABoundTextLongerThanItsDeclaredSizeIsAnErrorNotACut) {
    // SQLite keeps 20 characters in a VARCHAR(10) and still reports size 10.
    session.ExecDirect(u"CREATE TABLE t(v VARCHAR(10))", nullptr);
    session.ExecDirect(u"INSERT INTO t VALUES('0123456789abcdefghij')", nullptr);
    CODBCDynamicCommand command;
    command.Open(session, u"SELECT v FROM t");
    ASSERT_TRUE(command.GetColumn(1)->bound);
    try {
        command.MoveNext();
        FAIL() << "no exception";
    } catch (const CODBCException& e) {
        EXPECT_STREQ(Narrow(CString(e.GetSQLState())).c_str(), "01004");
        EXPECT_TRUE(e.GetContext() == u"v");
    }
}

TEST_F(Accessor, ParametersOfEveryKindRoundTrip) {
    session.ExecDirect(u"CREATE TABLE t(n INTEGER, s INTEGER, d DOUBLE, t TEXT, e TEXT, z TEXT, "
                       u"b BLOB, vi INTEGER, vs TEXT, vb BLOB, vn TEXT)",
                       nullptr);
    CODBCDynamicCommand insert;
    insert.AddParamWithValue(std::int32_t(-123456));
    insert.AddParamWithValue(short(-12));
    insert.AddParamWithValue(0.125);
    insert.AddParamWithValue(u"Привет");
    insert.AddParamWithValue(u"");
    insert.AddParamWithValue(static_cast<const char16_t*>(nullptr));
    insert.AddParamWithValue("\x01\x00\x02", 3);
    insert.AddParamWithValue(COleVariant(LONG(42)));
    insert.AddParamWithValue(COleVariant(u"мир"));
    SAFEARRAY* array = SafeArrayCreateVector(VT_I1, 0, 2);
    static_cast<char*>(array->pvData)[0] = 'h';
    static_cast<char*>(array->pvData)[1] = 'i';
    VARIANT bytes;
    bytes.vt = VT_ARRAY | VT_I1;
    bytes.parray = array;
    COleVariant byteVariant(bytes);
    SafeArrayDestroy(array);
    insert.AddParamWithValue(byteVariant);
    insert.AddParamWithValue(COleVariant());
    EXPECT_EQ(insert.GetParameterCount(), 11);
    EXPECT_EQ(insert.GetParameter(4)->indicator, 0);  // empty text: a value
    EXPECT_EQ(insert.GetParameter(5)->indicator, -1); // null pointer: NULL
    insert.Open(session, u"INSERT INTO t VALUES(?,?,?,?,?,?,?,?,?,?,?)");

    EXPECT_EQ(MessageOf([&] { insert.AddParamWithValue(1.0); }),
              "Нельзя добавлять параметры после выполнения команды.");

    CODBCDynamicCommand read;
    read.Open(session,
              u"SELECT n, s, d, t, e, z IS NULL, length(b), hex(b), vi, vs, CAST(vb AS TEXT), "
              u"vn IS NULL, e IS NULL FROM t");
    ASSERT_TRUE(read.MoveNext());
    const char16_t* expected[] = {u"-123456", u"-12", u"0.125", u"Привет", u"",  u"1", u"3",
                                  u"010002",  u"42",  u"мир",   u"hi",     u"1", u"0"};
    for (short c = 1; c <= 13; ++c)
        EXPECT_EQ(Narrow(read.GetString(c)), Narrow(expected[c - 1])) << "column " << c;
}

TEST_F(Accessor, ParameterErrorsHaveTheirExactTexts) {
    CODBCDynamicAccessor accessor;
    EXPECT_EQ(MessageOf([&] { accessor.AddParamWithValue(COleVariant(short(-1), VT_BOOL)); }),
              "Неподдерживаемый тип параметра");
    EXPECT_EQ(MessageOf([&] { accessor.AddParamWithValue(COleVariant(LONGLONG(1))); }),
              "Неподдерживаемый тип параметра");
    accessor.AddParameter(-8, 1, 8); // four characters
    EXPECT_EQ(MessageOf([&] { accessor.SetParameter(1, COleVariant(u"x")); }),
              "Неверный индекс параметра (1)");
    EXPECT_EQ(MessageOf([&] { accessor.SetParameter(7, COleVariant(u"x")); }),
              "Неверный индекс параметра (7)");
    EXPECT_EQ(MessageOf([&] { accessor.SetParameter(0, COleVariant(u"12345")); }),
              "Недостаточная длина буфера");
    accessor.SetParameter(0, COleVariant(u"1234"));
    EXPECT_EQ(accessor.GetParameter(0)->indicator, 8);
    accessor.SetParameter(0, COleVariant());
    EXPECT_EQ(accessor.GetParameter(0)->indicator, -1);
    accessor.AddParameter(4, 1, 4);
    EXPECT_EQ(MessageOf([&] { accessor.SetParameter(1, COleVariant(u"abc")); }),
              "Ошибка преобразования типа");
    // A copy has buffers of its own.
    CODBCDynamicAccessor copy(accessor);
    ASSERT_EQ(copy.GetParameterCount(), 2);
    EXPECT_NE(copy.GetParameter(0)->buffer, accessor.GetParameter(0)->buffer);
    EXPECT_EQ(std::memcmp(copy.GetParameter(0)->buffer, u"1234", 8), 0);
    accessor.AddParameter(99, 1, 4);
    EXPECT_EQ(MessageOf([&] { accessor.SetParameter(2, COleVariant(1.0)); }),
              "Неподдерживаемый тип параметра");
}

TEST_F(Accessor, SetParameterFeedsTheNextExecution) {
    session.ExecDirect(u"CREATE TABLE t(n INTEGER, s TEXT, ts TIMESTAMP)", nullptr);
    CODBCDynamicCommand insert;
    insert.AddParameter(4, 1, 4);
    insert.AddParameter(-8, 1, 64);
    insert.AddParameter(11, 1, 16);
    for (int i = 1; i <= 3; ++i) {
        insert.SetParameter(0, COleVariant(LONG(i)));
        insert.SetParameter(1, COleVariant(RepeatText(u"ж", i)));
        // 2 January 2024, 06:00 (days from 30 December 1899).
        insert.SetParameter(2, COleVariant(45293.25 + i, VT_DATE));
        insert.Open(session, u"INSERT INTO t VALUES(?, ?, ?)");
    }
    EXPECT_EQ(Column(session, u"SELECT group_concat(n || s, ',') FROM t")[0], u"1ж,2жж,3жжж");
    EXPECT_EQ(Column(session, u"SELECT ts FROM t WHERE n = 1")[0], u"2024-01-03 06:00:00.000");
}

TEST(Converter, TimestampsIntegersAndStatuses) {
    TIMESTAMP_STRUCT t{2024, 1, 2, 3, 4, 5, 123456789};
    EXPECT_EQ(CODBCDataConverter::ToString(11, eOdbcStatusValue, &t), u"2024-01-02 03:04:05.123");
    t.fraction = 50000000; // 0.05 s shows as .500: the first three printed digits
    EXPECT_EQ(CODBCDataConverter::ToString(11, eOdbcStatusValue, &t), u"2024-01-02 03:04:05.500");
    t.fraction = 0;
    EXPECT_EQ(CODBCDataConverter::ToString(11, eOdbcStatusValue, &t), u"2024-01-02 03:04:05.000");

    const double d = 2.75;
    EXPECT_EQ(MessageOf([&] { CODBCDataConverter::ToInt32(8, eOdbcStatusValue, &d); }),
              "Invalid Data Conversion");
    const std::int32_t i = 7;
    EXPECT_EQ(CODBCDataConverter::ToDouble(4, eOdbcStatusValue, &i), 7.0);
    EXPECT_EQ(MessageOf([&] { CODBCDataConverter::ToString(4, ODBCStatus(5), &i); }),
              "Invalid Column Status");
    EXPECT_EQ(CODBCDataConverter::ToInt32(4, eOdbcStatusNull, nullptr), 0);
    EXPECT_EQ(MessageOf([&] { CODBCDataConverter::ToVariant(11, eOdbcStatusValue, &t); }),
              "Invalid Data Conversion");

    const std::int64_t big = 5000000000;
    EXPECT_EQ(MessageOf([&] { CODBCDataConverter::ToInt32(-25, eOdbcStatusValue, &big); }),
              "Invalid Data Conversion");
    EXPECT_EQ(CODBCDataConverter::ToString(-25, eOdbcStatusValue, &big), u"5000000000");
    const std::int64_t small = -3;
    EXPECT_EQ(CODBCDataConverter::ToInt32(-25, eOdbcStatusValue, &small), -3);

    const char16_t text[] = u"abcdef";
    EXPECT_EQ(CODBCDataConverter::ToString(-8, eOdbcStatusValue, text, 3), u"abc");
    EXPECT_EQ(CODBCDataConverter::ToString(-8, eOdbcStatusValue, text, 0), u"");
    EXPECT_EQ(CODBCDataConverter::ToString(-8, eOdbcStatusValue, text, -1), u"abcdef");
    // Text from any object offering ISequentialStream, in blocks of 4096 bytes.
    const CString longText = RepeatText(u"абв", 3000);
    std::vector<unsigned char> utf16(reinterpret_cast<const unsigned char*>(longText.GetString()),
                                     reinterpret_cast<const unsigned char*>(longText.GetString()) +
                                         longText.GetLength() * 2);
    CMemoryStream stream(utf16);
    IUnknown* unknown = &stream;
    CString read;
    CODBCDataConverter::ReadString(&unknown, read);
    EXPECT_TRUE(read == longText);
    const char ansi[] = "\xcf\xf0\xe8"; // "При" in code page 1251
    EXPECT_EQ(CODBCDataConverter::ToString(1, eOdbcStatusValue, ansi, 3), u"При");
}

TEST(Converter, GuidsBothWays) {
    const _GUID guid = {0x12345678, 0x9abc, 0xdef0, {1, 2, 3, 4, 5, 6, 7, 8}};
    const CString text = CODBCDataConverter::ToString(-11, eOdbcStatusValue, &guid);
    EXPECT_EQ(text, u"{12345678-9ABC-DEF0-0102-030405060708}");
    _GUID back{};
    EXPECT_TRUE(CODBCDataConverter::ToUID(back, -8, eOdbcStatusValue, text.GetString()));
    EXPECT_TRUE(IsEqualGUID(back, guid));
    EXPECT_TRUE(CODBCDataConverter::ToUID(back, 1, eOdbcStatusValue,
                                          "12345678-9abc-def0-0102-030405060708"));
    EXPECT_TRUE(IsEqualGUID(back, guid));
    EXPECT_FALSE(CODBCDataConverter::ToUID(back, -11, eOdbcStatusNull, nullptr));
    EXPECT_TRUE(IsEqualGUID(back, _GUID{}));
    EXPECT_EQ(MessageOf([&] { CODBCDataConverter::ToUID(back, 1, eOdbcStatusValue, "nope"); }),
              "Invalid Data Conversion");
}

// A record bound field by field: a blob field and a text, both sent at
// execution time, and optionally a blob from the caller's stream.
class BlobRecord : public CODBCBindingsAccessor {
public:
    _tagOdbcBlobField blob;
    CString note;
    std::int32_t id = 0;
    CMemoryStream* source = nullptr;

protected:
    void DefineParameters(void* hStmt) override {
        CODBCParamBinder::BindItem(hStmt, parameters, 1, 4, &id, 4);
        if (source != nullptr)
            CODBCParamBinder::BindStream(hStmt, parameters, 2, IID_ISequentialStream, source);
        else
            CODBCParamBinder::BindBlobBufItem(hStmt, parameters, 2, &blob);
        CODBCParamBinder::BindText(hStmt, parameters, 3, &note);
    }
};

class BlobReader : public CODBCBindingsAccessor {
public:
    CComPtr<ISequentialStream> stream;
    CString note;
    std::int32_t id = 0;
    ODBCStatus textStatus = eOdbcStatusValue;

protected:
    void DefineColumns(void* hStmt) override {
        CODBCColumnBinder::BindItem(hStmt, columns, 1, 4, &id, 4);
        CODBCColumnBinder::BindStream(hStmt, columns, 2, IID_ISequentialStream, &stream);
        CODBCColumnBinder::BindText(hStmt, columns, 3, &note, &textStatus);
    }
};

TEST_F(Accessor, BlobsAndTextsTravelAtExecutionAndComeBackThroughAStream) {
    session.ExecDirect(u"CREATE TABLE t(id INTEGER, data BLOB, note TEXT)", nullptr);
    std::vector<unsigned char> bytes = Pattern(1 << 20);
    CODBCDynamicCommandT<BlobRecord> insert;
    insert.id = 1;
    insert.blob.data = bytes.data();
    insert.blob.length = std::int64_t(bytes.size());
    insert.blob.indicator = -100 - insert.blob.length; // the length announced up front
    insert.note = RepeatText(u"Ёлка-", 8000);          // more than one piece of 16384 bytes
    DB_RUN(insert.Open(session, u"INSERT INTO t VALUES(?, ?, ?)"));
    session.ExecDirect(u"INSERT INTO t VALUES(2, x'', NULL)", nullptr);

    CODBCDynamicCommandT<BlobReader> read;
    read.Open(session, u"SELECT id, data, note FROM t ORDER BY id");
    ASSERT_TRUE(read.MoveNext());
    EXPECT_EQ(read.id, 1);
    std::vector<unsigned char> back;
    unsigned char block[10000];
    ULONG got = 0;
    HRESULT hr = S_OK;
    while ((hr = read.stream->Read(block, sizeof block, &got)) == S_OK)
        back.insert(back.end(), block, block + got);
    EXPECT_EQ(hr, S_FALSE);
    EXPECT_EQ(got, 0u);
    EXPECT_TRUE(back == bytes);
    // The text was read whole at the fetch; the stream after it (any order).
    EXPECT_EQ(read.note.GetLength(), insert.note.GetLength());
    EXPECT_TRUE(read.note == insert.note);
    EXPECT_EQ(read.textStatus, eOdbcStatusValue);

    ASSERT_TRUE(read.MoveNext());
    EXPECT_EQ(read.id, 2);
    EXPECT_EQ(read.textStatus, eOdbcStatusNull);
    EXPECT_TRUE(read.note.IsEmpty());
    EXPECT_FALSE(read.MoveNext());
    EXPECT_EQ(MessageOf([&] { read.stream->Write("x", 1, nullptr); }), "Функция не реализована");
}

TEST_F(Accessor, ABlobFromTheCallersStreamOfUnknownLength) {
    // The SQLite driver needs a long value's length before its data, and
    // stores an unannounced one as empty: the stream is read in advance.
    session.ExecDirect(u"CREATE TABLE t(id INTEGER, data BLOB, note TEXT)", nullptr);
    CMemoryStream source(Pattern(300000)); // ten blocks of 32768 bytes
    CODBCDynamicCommandT<BlobRecord> insert;
    insert.source = &source;
    insert.id = 5;
    DB_RUN(insert.Open(session, u"INSERT INTO t VALUES(?, ?, ?)"));
    EXPECT_EQ(source.m_position, source.m_bytes.size());
    CODBCDynamicCommand read;
    read.Open(session, u"SELECT data, note FROM t");
    ASSERT_TRUE(read.MoveNext());
    std::int64_t length = 0;
    ASSERT_TRUE(read.GetLength(read, 1, &length));
    ASSERT_EQ(length, 300000);
    EXPECT_EQ(std::memcmp(read.GetColumn(1)->buffer, source.m_bytes.data(), 300000), 0);
    EXPECT_EQ(read.GetString(2), u""); // an empty text is a value, not NULL
}

TEST(StaticBinding, RefusalsAndTextFields) {
    CODBCBindings bindings;
    ISequentialStream* stream = nullptr;
    EXPECT_EQ(MessageOf([&] {
                  CODBCColumnBinder::BindStream(nullptr, bindings, 1, IID_IUnknown, &stream);
              }),
              "Для привязки потоков поддерживается только ISequentialStream.");
    EXPECT_EQ(MessageOf([&] {
                  CODBCParamBinder::BindStream(nullptr, bindings, 1, IID_IDispatch, nullptr);
              }),
              "Для привязки потоков поддерживается только ISequentialStream.");
    EXPECT_EQ(MessageOf([&] { CODBCAccessorsBinder::BindItem(nullptr, bindings, 1); }),
              "Функция не реализована");
    EXPECT_EQ(bindings.GetLength(), 0);

    EXPECT_EQ(CODBCBinder::GetSQLType(-8), 12);
    EXPECT_EQ(CODBCBinder::GetSQLType(-2), -4);
    EXPECT_EQ(CODBCBinder::GetSQLType(5), 4);
    EXPECT_EQ(CODBCBinder::GetSQLType(-6), 5);
    EXPECT_EQ(CODBCBinder::GetSQLType(93), 93);
    EXPECT_EQ(CODBCBinder::GetScaleOf(TIMESTAMP_STRUCT{}), 3);

    _tagOdbcTextField field;
    EXPECT_EQ(field.indicator, -100);
    EXPECT_EQ(field.GetStringLen(), -1);
    field.SetString(u"Да");
    EXPECT_EQ(field.length, 6);
    EXPECT_EQ(field.indicator, -106);
    EXPECT_EQ(field.GetStringLen(), 2);
    EXPECT_EQ(std::memcmp(field.data, u"Да", 6), 0);
}

} // namespace
