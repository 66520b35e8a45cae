// Status codes: class predicates, texts and client translators.
#include "qorbasic/status.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

TEST(StatusTest, ClassByteDecidesPredicatesAndFallbackTextUnlessTheLibraryKnowsTheCode) {
    // statuses, is_success, is_error, fallback text
    // clang-format off
    const std::tuple<std::vector<int>, bool, bool, const char*> cases[] = {
        {{0x00000003}, true, false, "generic success"},
        {{0x14000099}, false, true, "generic host error"},
        {{0x10000000}, false, true, "generic client error"},
        {{0x11000000, 0x13000000, 0x15000000}, false, true, "generic error code"},
        {{0x12000099}, false, true, "generic application error"},
        {{0x16000099}, false, true, "generic external-dependency error"},
        {{0x20000002}, false, false, "unrecognized informational status code"},
        {{0x22000001}, false, false, "unrecognized transient-error status code"},
        {{0x24000003}, false, false, "unrecognized internal-error status code"},
        {{0x0F000000, 0x17000000, 0x7F000000}, false, false, "unrecognized status code value"},
        {{-1, static_cast<int>(0x80000000u)}, false, false, "integer is not a status code"},
    };
    // clang-format on
    for (const auto& [statuses, success, error, text] : cases) {
        for (int status : statuses) {
            SCOPED_TRACE(testing::Message() << std::hex << status);
            EXPECT_EQ(is_success(status), success);
            EXPECT_EQ(is_error(status), error);
            EXPECT_STREQ(status_string(status), text);
        }
    }
    // Library codes of module 0 have texts of their own, whatever their class.
    EXPECT_STREQ(status_string(STATUS_SUCCESS), "success");
    EXPECT_STREQ(status_string(STATUS_UNLINK_DIR_FAILED), "stdlib error: unlink(directory)");
    EXPECT_STREQ(status_string(STATUS_INTERNAL_ERROR), "internal error");
    EXPECT_FALSE(is_success(STATUS_INTERNAL_ERROR) || is_error(STATUS_INTERNAL_ERROR));
    // 0 has the success class but a text of its own.
    EXPECT_TRUE(is_success(STATUS_INVALID));
    EXPECT_STREQ(status_string(STATUS_INVALID), "invalid status code");
    // The low bits equal STATUS_STAT_FAILED's, but module 1 is not the library's.
    EXPECT_EQ(builtin_status_text(0x14001004), nullptr);
    EXPECT_STREQ(status_string(0x14001004), "generic host error");
    EXPECT_STREQ(builtin_status_text(STATUS_STAT_FAILED), "stdlib error: file stat");
}

// The registry is process-wide and has no way of unregistering, so the
// translator tests use module ids that nothing else in this program touches.
static const char* first_of_module_7(int status) {
    return (status & 0xFFF) == 1 ? "seven one (first)" : nullptr;
}
static const char* second_of_module_7(int status) {
    return (status & 0xFFF) <= 2 ? "seven (second)" : nullptr;
}
static const char* module_0_extension(int status) {
    return (status & 0xFFF) != 0 ? "client word for module 0" : nullptr;
}

// The built-in table is registered first, so a client's translator of
// module 0 sees only the codes it does not know; a null translator is ignored.
TEST(StatusTranslatorTest, TranslatorsAreTriedInRegistrationOrderBuiltinFirst) {
    register_status_translator(7, first_of_module_7);
    register_status_translator(7, second_of_module_7);
    register_status_translator(0, module_0_extension);
    const size_t registered = errorutils_instance().translators.size();
    register_status_translator(5, nullptr);
    EXPECT_EQ(errorutils_instance().translators.size(), registered);
    EXPECT_STREQ(status_string(0x14007001), "seven one (first)");
    EXPECT_STREQ(status_string(0x14007002), "seven (second)");
    EXPECT_STREQ(status_string(0x14007003), "generic host error");
    EXPECT_STREQ(status_string(0x14008001), "generic host error");
    EXPECT_STREQ(status_string(STATUS_OPEN_FAILED), "stdlib error: file open");
    EXPECT_STREQ(status_string(0x14000777), "client word for module 0");
}
