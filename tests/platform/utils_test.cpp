// Proves that references count right from several threads, that strings survive conversion, and that
// the stand-in offers nothing which the device's own headers refuse. Would catch a promote() that
// revives a dying object, or a convenience added here on which engine code would come to rely.
#include <gtest/gtest.h>
#include <utils/List.h>
#include <utils/RefBase.h>
#include <utils/String16.h>
#include <utils/String8.h>
#include <utils/Vector.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>

using android::sp;
using android::String16;
using android::String8;
using android::Vector;
using android::wp;

namespace {

std::atomic<int> gAlive{0};

class Thing : public virtual android::RefBase {
  public:
    Thing() { ++gAlive; }
    std::atomic<int> uses{0};
    int firsts = 0;

  protected:
    ~Thing() override { --gAlive; }
    void onFirstRef() override { ++firsts; }
};
class Special final : public Thing {};

// What does not compile on the device.
template <typename T, typename = void>
struct HasCStr : std::false_type {};
template <typename T>
struct HasCStr<T, std::void_t<decltype(std::declval<T>().c_str())>> : std::true_type {};
template <typename T, typename = void>
struct NullOnTheLeft : std::false_type {};
template <typename T>
struct NullOnTheLeft<T, std::void_t<decltype(nullptr == std::declval<T>())>> : std::true_type {};
template <typename T, typename = void>
struct HasCBegin : std::false_type {};
template <typename T>
struct HasCBegin<T, std::void_t<decltype(std::declval<T>().cbegin())>> : std::true_type {};

static_assert(!std::is_constructible_v<bool, sp<Thing>>);
static_assert(!NullOnTheLeft<sp<Thing>>::value);
static_assert(!HasCStr<String8>::value && !HasCBegin<android::List<int>>::value);
static_assert(!std::is_constructible_v<Vector<int>, std::initializer_list<int>>);
static_assert(!std::is_convertible_v<const char*, String16> && !std::is_convertible_v<const char*, String8>);
static_assert(!std::is_copy_constructible_v<Thing>);
static_assert(std::is_convertible_v<std::nullptr_t, sp<Thing>>);

TEST(References, ObjectLivesAsLongAsItsStrongReferences) {
    {
        sp<Special> special = new Special;
        sp<Thing> thing = special;
        EXPECT_EQ(2, special->getStrongCount());
        EXPECT_EQ(1, special->firsts);
        special = special.get();  // to itself
        special.clear();
        EXPECT_EQ(1, gAlive);
        EXPECT_TRUE(special == nullptr && thing != special);
    }
    EXPECT_EQ(0, gAlive);
}

TEST(References, WeakOnesNeitherKeepNorRevive) {
    sp<Special> strong = new Special;
    wp<Special> weak = strong;
    wp<Thing> base = weak;
    EXPECT_TRUE(weak.promote() == strong && base.promote().get() == strong.get());
    EXPECT_EQ(1, strong->getStrongCount());
    strong.clear();
    EXPECT_EQ(0, gAlive);
    EXPECT_TRUE(weak.promote() == nullptr && base.promote() == nullptr);
    EXPECT_TRUE(weak != nullptr);  // it remembers, it just gives nothing
    weak.clear();
    EXPECT_TRUE(weak == nullptr);
}

TEST(References, WeakOneToANewObjectGivesTheFirstStrongOne) {
    wp<Thing> weak = new Thing;
    {
        const sp<Thing> strong = weak.promote();
        ASSERT_TRUE(strong != nullptr);
        EXPECT_EQ(1, strong->getStrongCount());
        EXPECT_EQ(1, strong->firsts);
    }
    EXPECT_EQ(0, gAlive);
}

TEST(References, PromotingRacesWithTheLastRelease) {
    for (int round = 0; round < 2000; ++round) {
        sp<Thing> strong = new Thing;
        const wp<Thing> weak = strong;
        std::thread promoter([weak] {
            const sp<Thing> got = weak.promote();
            if (got != nullptr) {
                ++got->uses;  // a sanitizer sees it when the object has gone
            }
        });
        strong.clear();
        promoter.join();
        ASSERT_EQ(0, gAlive);
    }
}

TEST(Strings, ConvertBothWays) {
    struct Case {
        const char* utf8;
        std::u16string utf16;
        const char* back;
    };
    const Case cases[] = {
        {"media.player", u"media.player", "media.player"},
        {"\xC3\xA9\xE2\x82\xAC", u"\u00E9\u20AC", "\xC3\xA9\xE2\x82\xAC"},
        {"\xF0\x9F\x98\x80!", u"\U0001F600!", "\xF0\x9F\x98\x80!"},
        {"a\xFFz", u"a\uFFFDz", "a\xEF\xBF\xBDz"},
        {"\xC0\x80", u"\uFFFD\uFFFD", "\xEF\xBF\xBD\xEF\xBF\xBD"},           // overlong zero
        {"cut\xE2\x82", u"cut\uFFFD\uFFFD", "cut\xEF\xBF\xBD\xEF\xBF\xBD"},  // ends inside a character
        {nullptr, u"", ""},
    };
    for (const Case& c : cases) {
        const String16 wide(c.utf8);
        EXPECT_EQ(c.utf16, std::u16string(wide.string(), wide.size()));
        EXPECT_STREQ(c.back, String8(wide).string());
    }
    EXPECT_STREQ("\xEF\xBF\xBDx", String8(String16(u"\xD83Dx")).string());  // half a pair
    EXPECT_STREQ("7 of 0x0b", String8::format("%d of 0x%02x", 7, 11).string());
}

TEST(Vectors, RemoveAndErase) {
    Vector<int> numbers;
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(i, numbers.add(i));
    }
    EXPECT_EQ(1, numbers.removeAt(1));
    EXPECT_LT(numbers.removeAt(4), 0);
    EXPECT_EQ(3, *numbers.erase(numbers.begin() + 1));
    numbers.editItemAt(0) = 9;
    EXPECT_EQ((std::vector<int>{9, 3, 4}), std::vector<int>(numbers.begin(), numbers.end()));
}

}  // namespace
