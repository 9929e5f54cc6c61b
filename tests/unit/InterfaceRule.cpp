// From an interface's name to its identifier.
#include <cstring>

#include "0_Base_i.h"
#include "support/Images.h"

namespace {

std::vector<uint8_t> BytesOf(const IID& iid) {
    std::vector<uint8_t> bytes(16);
    std::memcpy(bytes.data(), &iid, 16);
    return bytes;
}

std::vector<uint8_t> Padded(std::vector<uint8_t> bytes) {
    bytes.resize(16);
    return bytes;
}

bool Bit(const IID& iid, int bit) { return iid.word[bit / 32] >> (bit % 32) & 1; }

TEST(InterfaceRule, WorkedExamples) {
    EXPECT_EQ(BytesOf(MakeInterfaceId("IString")), Padded({0x69, 0x52, 0x99, 0xDC, 0x01}));
    EXPECT_EQ(BytesOf(MakeInterfaceId("ICurve2D")), Padded({0x69, 0x54, 0x69, 0x8B, 0x27}));
}

TEST(InterfaceRule, ALeadingUnderscoreHasTheCode27) {
    EXPECT_EQ(MakeInterfaceId("_ICollectionEvents").word[0] & 31, 27u);
    for (const char* name : {"5", "9", "_", "-", " ", "@", "[", "`", "{"}) {
        EXPECT_EQ(MakeInterfaceId(name).word[0], 27u) << name;
    }
}

TEST(InterfaceRule, LettersAndDigits) {
    EXPECT_EQ(MakeInterfaceId("A").word[0], 1u);
    EXPECT_EQ(MakeInterfaceId("Z").word[0], 26u);
    EXPECT_EQ(MakeInterfaceId("a").word[0], 1u);
    EXPECT_EQ(MakeInterfaceId("z").word[0], 26u);
    EXPECT_EQ(MakeInterfaceId("0").word[0], 28u);
    EXPECT_EQ(MakeInterfaceId("3").word[0], 31u);
    EXPECT_EQ(MakeInterfaceId("4").word[0], 32u);
    EXPECT_EQ(BytesOf(MakeInterfaceId("")), Padded({}));
}

TEST(InterfaceRule, OnlyTheFirst25CharactersCount) {
    EXPECT_TRUE(MakeInterfaceId("ICreatableSimpleCollection") == MakeInterfaceId("ICreatableSimpleCollectio"));
    EXPECT_FALSE(MakeInterfaceId("ICreatableSimpleCollectio") == MakeInterfaceId("ICreatableSimpleCollecti"));
}

TEST(InterfaceRule, CaseDoesNotMatter) { EXPECT_TRUE(MakeInterfaceId("IVELImage") == MakeInterfaceId("ivelimage")); }

TEST(InterfaceRule, A4SetsTheLowestBitOfTheNextCharactersField) {
    std::string name = "zzzzzzzzzzzzzzzzzzzzzzzzz";  // 25 times the code 26, whose lowest bit is clear
    for (int i = 0; i < 24; ++i) {
        std::string with4 = name;
        with4[static_cast<size_t>(i)] = '4';
        EXPECT_FALSE(Bit(MakeInterfaceId(name.c_str()), 5 * i + 5)) << i;
        EXPECT_TRUE(Bit(MakeInterfaceId(with4.c_str()), 5 * i + 5)) << i;
    }
    name[24] = '4';
    EXPECT_TRUE(Bit(MakeInterfaceId(name.c_str()), 125));
}

TEST(InterfaceRule, TheStandardIdentifierIsNoNamesIdentifier) {
    EXPECT_EQ(BytesOf(IID_IUnknown), (std::vector<uint8_t>{0, 0, 0, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46}));
    EXPECT_FALSE(MakeInterfaceId("IUnknown") == IID_IUnknown);
}

TEST(InterfaceRule, AgainstTheRuleWrittenASecondTime) {
    test::RandomCases(5000, [](test::Random& random) {
        const std::string characters = "ABCXYZabcxyz0123456789_-@[`{ I4444";
        std::string name;
        const int length = random.Int(0, 30);
        for (int i = 0; i < length; ++i) {
            name += characters[static_cast<size_t>(random.Int(0, static_cast<int>(characters.size()) - 1))];
        }
        EXPECT_TRUE(MakeInterfaceId(name.c_str()) == test::InterfaceId(name)) << name;
    });
}

}  // namespace
