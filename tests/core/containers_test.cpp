#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "tarvex/core/containers.h"

namespace {

// Counts destructions so tests can tell which objects an array deleted.
struct Item : CTarvexObject {
    static inline int destroyed = 0;
    explicit Item(int k = 0, int t = 0) : key(k), tag(t) {}
    ~Item() override { ++destroyed; }
    bool operator==(const Item& o) const { return key == o.key; }
    bool operator<(const Item& o) const { return key < o.key; }
    int key;
    int tag; // not part of the order: tells equal keys apart
};

int CompareItems(const Item* a, const Item* b) {
    return (a->key > b->key) - (a->key < b->key);
}

int Descending(const int& a, const int& b) {
    return b - a;
}

// Counts the comparisons a search asks for.
struct Counted {
    static inline int equals = 0, less = 0;
    int v = 0;
    bool operator==(const Counted& o) const { return ++equals, v == o.v; }
    bool operator<(const Counted& o) const { return ++less, v < o.v; }
};

std::vector<int> Values(const TArrayTemplate<int>& a) {
    return {a.begin(), a.end()};
}
std::string Joined(const TArrayTemplate<std::string>& a) {
    std::string s;
    for (const std::string& e : a) s += e;
    return s;
}

// Records every growth of an array filled one Add at a time.
std::vector<int64_t> CapacitiesWhileAdding(TArrayTemplate<int>& a, int count) {
    std::vector<int64_t> caps{a.GetPhysicalLength()};
    for (int i = 0; i < count; ++i) {
        a.Add(i);
        if (a.GetPhysicalLength() != caps.back()) caps.push_back(a.GetPhysicalLength());
    }
    return caps;
}

} // namespace

TEST(ContainerGrowth, DeltaUpdatePolicies) {
    TArrayTemplate<int> empty(0, 10, 0);
    EXPECT_EQ(empty.GetData(), nullptr);
    empty.Add(1);
    EXPECT_EQ(empty.GetPhysicalLength(), 10);

    // Children: constant 16 until 64 is passed, then doubling to 8 * 16.
    TArrayTemplate<int> children(4, 16, -8);
    EXPECT_EQ(CapacitiesWhileAdding(children, 400),
              (std::vector<int64_t>{4, 20, 36, 52, 68, 84, 116, 180, 308, 436}));
    EXPECT_EQ(children.GetMaximumDelta(), 128); // fixed for good at the first update
    EXPECT_EQ(children.GetDelta(), 128);

    TArrayTemplate<int> parameters(8, 32, 4096);
    EXPECT_EQ(CapacitiesWhileAdding(parameters, 300),
              (std::vector<int64_t>{8, 40, 72, 104, 168, 296, 552}));

    // Past the size where the block behind it is rounded up, the physical
    // length still follows the policy, and the values survive every step.
    TArrayTemplate<int> large(4, 16, -8);
    const std::vector<int64_t> caps = CapacitiesWhileAdding(large, 20000);
    EXPECT_EQ(caps.back(), 20020);
    EXPECT_EQ(caps.back() - caps[caps.size() - 2], 128);
    for (int i = 0; i < 20000; i += 997) EXPECT_EQ(large[i], i);
    large.InsertAt(5000, -1); // an insert at a full block boundary moves the tail once
    EXPECT_EQ(large[5000], -1);
    EXPECT_EQ(large[5001], 5000);
    EXPECT_EQ(large[20000], 19999);

    TArrayTemplate<int> doubling(64, 1, -1);
    EXPECT_EQ(CapacitiesWhileAdding(doubling, 81),
              (std::vector<int64_t>{64, 65, 66, 68, 72, 80, 96}));
}

TEST(ContainerGrowth, CapacityOperations) {
    TArrayTemplate<int> a(100, 8, 0);
    for (int i = 0; i < 90; ++i) a.Add(i);
    a.TrimExcess(); // 90% full: not worth a copy
    EXPECT_EQ(a.GetPhysicalLength(), 100);
    a.DeleteLast();
    a.TrimExcess();
    EXPECT_EQ(a.GetPhysicalLength(), 89);
    EXPECT_EQ(a[88], 88);

    a.SetPhisicalLength(5); // lowering truncates
    EXPECT_EQ(Values(a), (std::vector<int>{0, 1, 2, 3, 4}));

    a.PrepareToAdd(8); // 5 + 8 fits in 5 + delta: nothing to do
    EXPECT_EQ(a.GetPhysicalLength(), 5);
    a.PrepareToAdd(9);
    EXPECT_EQ(a.GetPhysicalLength(), 14);

    a.Clear();
    EXPECT_EQ(a.GetPhysicalLength(), 14);
    a.TrimExcess();
    EXPECT_EQ(a.GetPhysicalLength(), 1);

    TArrayTemplate<int> f(100, 8, 0);
    f.Add(1);
    f.Flush();
    EXPECT_EQ(f.GetPhysicalLength(), 8);
    EXPECT_EQ(f.GetLength(), 0);
    f.Grow(20); // exactly what is asked
    EXPECT_EQ(f.GetPhysicalLength(), 20);
}

TEST(ContainerArray, AddRangeCountsAndGrowth) {
    TArrayTemplate<int> src;
    for (int i = 0; i < 6; ++i) src.Add(i);

    TArrayTemplate<int> a(2, 4, 0);
    a.AddRange(src, 4, 0); // count 0: from start to the end; reaching capacity grows
    EXPECT_EQ(Values(a), (std::vector<int>{4, 5}));
    EXPECT_EQ(a.GetPhysicalLength(), 6);
    a.AddRange(src, 6, 0);
    EXPECT_EQ(a.GetLength(), 2);

    a.AddRange(src, 1, 2); // still below capacity
    EXPECT_EQ(a.GetPhysicalLength(), 6);
    a.AddRange(src); // a big batch: exactly its size
    EXPECT_EQ(a.GetPhysicalLength(), 12);
    a.AddRange(a, 0, 3); // from itself, across a growth of one delta
    EXPECT_EQ(a.GetPhysicalLength(), 16);
    EXPECT_EQ(Values(a), (std::vector<int>{4, 5, 1, 2, 0, 1, 2, 3, 4, 5, 4, 5, 1}));
}

TEST(ContainerArray, InsertSetDeleteOnClassType) {
    TArrayTemplate<std::string> a(2, 2, 0);
    a.Add("b");
    a.Add("d");
    a.InsertAt(1, "c"); // full: ResizeAndInsert
    a.InsertAt(0, "a"); // room: shift
    a.InsertAt(9, "z"); // past the end: SetAt, gap left as is
    EXPECT_EQ(a.GetLength(), 10);
    EXPECT_EQ(a.GetPhysicalLength(), 11);
    a.Grow(4);
    a.SetPhisicalLength(4);
    a.Add(a[0]); // the item lives in the buffer that moves
    a.InsertAt(0, a[4]);
    EXPECT_EQ(Joined(a), "aabcda");

    a.Delete(2);
    a.DeleteFirst();
    a.DeleteLast();
    a.Reverse();
    EXPECT_EQ(Joined(a), "dca");
    EXPECT_EQ(a.Find("a"), 2);
    EXPECT_EQ(a.Find("d", 1), -1);
    EXPECT_EQ(a.Find("d", 3), -1);
}

TEST(ContainerArray, CopyAndAssign) {
    TArrayTemplate<int> a(10, 3, -1);
    a.Add(1);
    a.Add(2);
    TArrayTemplate<int> copy(a);
    EXPECT_EQ(copy.GetPhysicalLength(), 10);
    EXPECT_EQ(copy.GetMaximumDelta(), -1);
    EXPECT_TRUE(copy == a);

    TArrayTemplate<int> big(50, 7, 0);
    big.Add(9);
    big = a; // keeps its larger buffer
    EXPECT_EQ(big.GetPhysicalLength(), 50);
    EXPECT_EQ(big.GetDelta(), 3);
    EXPECT_TRUE(big == a);
    big[1] = 5;
    EXPECT_FALSE(big == a);
}

TEST(ContainerIndirect, OwnershipDeletesExactlyWhatIsRemoved) {
    Item::destroyed = 0;
    {
        CIndirectArray<Item> a(0, 4, true, -8);
        for (int i = 0; i < 6; ++i) a.Add(new Item(i));
        a.Delete(1);
        a.DeleteFirst();
        a.DeleteLast();
        EXPECT_EQ(Item::destroyed, 3);
        EXPECT_EQ(a[0]->key, 2);

        a.SetAt(0, new Item(20)); // replaces and deletes the occupant
        a.SetAt(1, a[1]);         // storing the same pointer again keeps it
        EXPECT_EQ(Item::destroyed, 4);
        a.SetAt(6, new Item(6)); // gap of nulls
        EXPECT_EQ(a[3], nullptr);
        EXPECT_EQ(a[5], nullptr);
        a.InsertAt(8, new Item(8));
        EXPECT_EQ(a[7], nullptr);

        a.Grow(7); // drops the Item(8)
        EXPECT_EQ(Item::destroyed, 5);
        a.Grow(9);
        EXPECT_EQ(a[8], nullptr);
        a.SetPhisicalLength(2); // cuts Item(4) and Item(6)
        EXPECT_EQ(Item::destroyed, 7);

        Item* kept = a[1];
        a.SetOwnership(false);
        a.Delete(1);
        delete kept; // 8
        a.SetOwnership(true);
        a.Add(nullptr);
    } // the destructor deletes Item(20) and skips the null
    EXPECT_EQ(Item::destroyed, 9);

    CIndirectArray<Item> b;
    b.Add(new Item(1));
    b.Add(new Item(2));
    b.Flush();
    EXPECT_EQ(Item::destroyed, 11);
    EXPECT_EQ(b.GetPhysicalLength(), b.GetDelta());
}

TEST(ContainerIndirect, FindCopyMoveTo) {
    Item::destroyed = 0;
    CIndirectArray<Item> a;
    Item* p = new Item(7);
    a.Add(new Item(3));
    a.Add(nullptr);
    a.Add(p);
    Item other(7);
    EXPECT_EQ(a.Find(other), 2);   // by value, over the null
    EXPECT_EQ(a.Find(&other), -1); // by identity
    EXPECT_EQ(a.Find(p), 2);
    EXPECT_EQ(a.Find(static_cast<const Item*>(p), 3), -1);

    {
        CIndirectArray<Item> copy(a); // borrows: deletes nothing
        EXPECT_FALSE(copy.GetOwnership());
        EXPECT_TRUE(copy == a);
    }
    EXPECT_EQ(Item::destroyed, 0);

    CIndirectArray<Item> target(0, 16, false, 0);
    a.SetOwnership(false);
    a.MoveTo(target);
    EXPECT_TRUE(a.GetOwnership());
    EXPECT_EQ(a.GetLength(), 0);
    EXPECT_EQ(a.GetPhysicalLength(), 16);
    EXPECT_EQ(Item::destroyed, 0);
    ASSERT_EQ(target.GetLength(), 3);
    EXPECT_EQ(target[2], p);

    CIndirectArray<Item> owner;
    owner.AddRange(target, 0, 0);                 // the whole source
    CIndirectArray<Item> moved(std::move(owner)); // the owner deletes once
    EXPECT_TRUE(moved.GetOwnership());
    EXPECT_EQ(moved.GetLength(), 3);
}

TEST(ContainerIndirect, AssignmentKeepsTheTargetsFlag) {
    Item::destroyed = 0;
    CIndirectArray<Item> source;
    source.Add(new Item(1));
    source.Add(new Item(2));

    CIndirectArray<Item> target; // owns, and its old object goes by the removal rule
    target.Add(new Item(9));
    source.SetOwnership(false); // both own: one flag is cleared first
    target = source;
    EXPECT_TRUE(target.GetOwnership());
    EXPECT_EQ(Item::destroyed, 1);
    ASSERT_EQ(target.GetLength(), 2);
    EXPECT_EQ(target[1]->key, 2);

    CIndirectArray<Item> borrower(0, 16, false, -8);
    borrower.Add(new Item(5)); // a borrower's old object is only forgotten
    Item* kept = borrower[0];
    borrower = target;
    EXPECT_FALSE(borrower.GetOwnership());
    EXPECT_EQ(Item::destroyed, 1);
    delete kept;
    target.Clear(); // the owner deletes each object once; the sanitizer run sees any twice
    EXPECT_EQ(Item::destroyed, 4);
}

TEST(ContainerSorted, SearchIsExact) {
    CSortedArray<int64_t> s;
    int64_t position = 5;
    EXPECT_EQ(s.Search(1, position), -1);
    EXPECT_EQ(position, 0);

    std::mt19937 rng(7);
    std::vector<int64_t> ref;
    for (int i = 0; i < 500; ++i) {
        int64_t v = static_cast<int64_t>(rng() % 300) * 2; // even: odd keys miss
        s.Add(v);
        ref.insert(std::upper_bound(ref.begin(), ref.end(), v), v);
    }
    ASSERT_TRUE(std::equal(ref.begin(), ref.end(), s.begin(), s.end()));
    for (int64_t key = -1; key <= 601; ++key) {
        const int64_t found = s.Search(key, position);
        const auto lower = std::lower_bound(ref.begin(), ref.end(), key);
        if (lower == ref.end() || *lower != key) {
            EXPECT_EQ(found, -1);
            EXPECT_EQ(position, lower - ref.begin()) << key;
        } else {
            ASSERT_GE(found, 0) << key;
            EXPECT_EQ(s[found], key);
            EXPECT_EQ(position, found);
        }
    }
}

TEST(ContainerSorted, DuplicatesAndEqualityFirst) {
    CSortedArray<Counted> c;
    for (int i = 0; i < 7; ++i) c.Add(Counted{i});
    Counted::equals = Counted::less = 0;
    EXPECT_EQ(c.Find(Counted{3}), 3); // a hit at the middle pays one ==, no <
    EXPECT_EQ(Counted::equals, 1);
    EXPECT_EQ(Counted::less, 0);

    Item::destroyed = 0;
    {
        CSortedIndirectArray<Item> s(1, 4, true, -8);
        s.Add(new Item(1, 0));
        s.Add(new Item(2, 1));
        s.Add(new Item(2, 2)); // equals the last: appended
        s.Add(new Item(1, 3)); // equals an earlier one: before the hit
        s.Add(new Item(0, 4));
        std::vector<int> tags;
        for (Item* i : s) tags.push_back(i->tag);
        EXPECT_EQ(tags, (std::vector<int>{4, 3, 0, 1, 2}));
        Item key(2);
        EXPECT_GE(s.Find(&key), 3);
        EXPECT_EQ(s.Find(Item(5)), -1);
    }
    EXPECT_EQ(Item::destroyed, 2 + 5); // two search keys, five owned
}

TEST(ContainerSorted, CustomOrderAndRecords) {
    CCustomSortedArrayT<int, Descending> d;
    for (int v : {5, 1, 3, 9}) d.Add(v);
    int64_t position;
    EXPECT_EQ(d.Search(4, position), -1); // 9 5 3 1
    EXPECT_EQ(position, 2);
    EXPECT_EQ(d.Find(1), 3);

    CCustomSortedIndirectArrayT<Item, CompareItems> ci(0, 16, false, -8);
    Item a(2), b(1), c(3);
    ci.Add(&a);
    ci.Add(&b);
    ci.Add(&c);
    EXPECT_EQ(ci[0], &b);
    EXPECT_EQ(ci.Find(Item(3)), 2);

    using Record = CIndexRecord<int64_t, TArrayTemplate<int>>;
    CSortedArray<Record> map;
    for (int64_t k : {30, 10, 20}) {
        Record r(k);
        r.m_Value.Add(static_cast<int>(k));
        map.Add(std::move(r));
    }
    EXPECT_TRUE(Record(10, {}) == Record(10, TArrayTemplate<int>(4)));
    ASSERT_EQ(map.Find(int64_t{20}), 1); // by bare key
    EXPECT_EQ(map.Find(25), -1);
    EXPECT_EQ(map[1].m_Value[0], 20); // values travelled with their keys
    EXPECT_EQ(map[2].m_Value[0], 30);
}
