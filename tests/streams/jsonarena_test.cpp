// Parsed nodes share one arena: they must stay valid whatever is released
// first, and the arena must hand out aligned, separate room of any size.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "tarvex/streams/json/jsonarena_internal.h"
#include "tarvex/streams/json/jsoninstream.h"

using tarvex::json_internal::CJsonArena;

TEST(JsonArena, RoomIsAlignedSeparateAndMayExceedABlock) {
    CJsonArena* arena = CJsonArena::Create();
    std::vector<std::pair<unsigned char*, std::size_t>> room;
    for (std::size_t bytes : {1u, 24u, 3u, 100000u, 8u, 1000u, 7u, 600000u, 16u}) {
        std::size_t alignment = bytes % 2 == 0 ? 16 : 1;
        auto* at = static_cast<unsigned char*>(arena->Allocate(bytes, alignment));
        ASSERT_EQ(reinterpret_cast<std::uintptr_t>(at) % alignment, 0u);
        std::memset(at, int(room.size()), bytes); // overruns show under ASan
        room.emplace_back(at, bytes);
    }
    for (std::size_t i = 0; i < room.size(); ++i) {
        for (std::size_t b = 0; b < room[i].second; ++b) ASSERT_EQ(room[i].first[b], i);
        // Each allocation holds the arena: the memory of the others stays
        // readable (ASan) until the last hold goes; a missed hold leaks.
        arena->Release();
    }
    arena->Done();
}

TEST(JsonArena, NodesOutliveTheStreamTheirParentsAndLaterParses) {
    std::u16string text =
        u"{\"a\" : [1, \"long enough to leave the string\", true]} [null] {\"b\" : [2";
    std::shared_ptr<CJsonNode> leaf, second;
    {
        CJsonInStream in;
        ASSERT_TRUE(in.Open(text.data(), int(text.size() * 2)));
        auto root = in.ParseNext();
        leaf = root->AsCompound()->children[0]->AsCompound()->children[1];
        second = in.ParseNext();
        ASSERT_NE(second, nullptr);
        // A failed parse drops its own nodes, not those given out before.
        EXPECT_EQ(in.ParseNext(), nullptr);
    }
    ASSERT_EQ(leaf->GetType(), CJsonNode::eString);
    EXPECT_EQ(static_cast<CJsonNodeString&>(*leaf).value, u"long enough to leave the string");
    EXPECT_EQ(second->AsCompound()->children[0]->GetType(), CJsonNode::eNull);
    // Nodes added by hand to a parsed tree mix with arena nodes freely.
    second->Add(std::make_shared<CJsonNodeNumber>(2));
    second->AsCompound()->children.clear();
}
