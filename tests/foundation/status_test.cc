#include "qorbasic/status.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(StatusTest, ClassByteDecidesPredicatesAndFallbackText) {
    struct Case {
        int status;
        bool success;
        bool error;
        const char* text;
    };
    const Case cases[] = {
        {0x00000003, true, false, "generic success"},
        {0x10000000, false, true, "generic client error"},
        {0x11000000, false, true, "generic error code"},
        {0x12000099, false, true, "generic application error"},
        {0x13000000, false, true, "generic error code"},
        {0x14000099, false, true, "generic host error"},
        {0x15000000, false, true, "generic error code"},
        {0x16000099, false, true, "generic external-dependency error"},
        {0x20000002, false, false, "unrecognized informational status code"},
        {0x22000001, false, false, "unrecognized transient-error status code"},
        {0x24000003, false, false, "unrecognized internal-error status code"},
        {0x0F000000, false, false, "unrecognized status code value"},
        {0x17000000, false, false, "unrecognized status code value"},
        {0x30000000, false, false, "unrecognized status code value"},
        {0x7F000000, false, false, "unrecognized status code value"},
        {-1, false, false, "integer is not a status code"},
        {static_cast<int>(0x80000000u), false, false, "integer is not a status code"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << c.status);
        EXPECT_EQ(is_success(c.status), c.success);
        EXPECT_EQ(is_error(c.status), c.error);
        EXPECT_STREQ(status_string(c.status), c.text);
    }
}

TEST(StatusTest, LibraryCodesHaveTheirOwnTextsWhateverTheirClass) {
    EXPECT_STREQ(status_string(STATUS_SUCCESS), "success");
    EXPECT_STREQ(status_string(STATUS_UNLINK_DIR_FAILED), "stdlib error: unlink(directory)");
    EXPECT_STREQ(status_string(STATUS_INTERNAL_ERROR), "internal error");
    EXPECT_FALSE(is_success(STATUS_INTERNAL_ERROR) || is_error(STATUS_INTERNAL_ERROR));
    // 0 has the success class but a text of its own.
    EXPECT_TRUE(is_success(STATUS_INVALID));
    EXPECT_STREQ(status_string(STATUS_INVALID), "invalid status code");
}

TEST(StatusTest, BuiltinTableAnswersOnlyModuleZero) {
    // The low bits equal STATUS_STAT_FAILED's, but module 1 is not the library's.
    EXPECT_EQ(builtin_status_text(0x14001004), nullptr);
    EXPECT_STREQ(status_string(0x14001004), "generic host error");
    EXPECT_STREQ(builtin_status_text(STATUS_STAT_FAILED), "stdlib error: file stat");
    EXPECT_EQ(builtin_status_text(0x14000099), nullptr);
}

TEST(StatusTest, BuiltinTranslatorIsRegisteredFirst) {
    const errorutils_globals& registry = errorutils_instance();
    EXPECT_EQ(&registry, &errorutils_instance());
    ASSERT_FALSE(registry.ids.empty());
    EXPECT_EQ(registry.ids.size(), registry.translators.size());
    EXPECT_EQ(registry.ids[0], 0);
    EXPECT_EQ(registry.translators[0], &builtin_status_text);
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

TEST(StatusTranslatorTest, TranslatorsOfOneModuleAreTriedInRegistrationOrder) {
    register_status_translator(7, first_of_module_7);
    register_status_translator(7, second_of_module_7);
    EXPECT_STREQ(status_string(0x14007001), "seven one (first)");
    EXPECT_STREQ(status_string(0x14007002), "seven (second)");
    EXPECT_STREQ(status_string(0x14007003), "generic host error");
    EXPECT_STREQ(status_string(0x14008001), "generic host error");
}

TEST(StatusTranslatorTest, ClientTranslatorOfModuleZeroSeesOnlyUnknownCodes) {
    register_status_translator(0, module_0_extension);
    EXPECT_STREQ(status_string(STATUS_OPEN_FAILED), "stdlib error: file open");
    EXPECT_STREQ(status_string(0x14000777), "client word for module 0");
}

TEST(StatusTranslatorTest, NullTranslatorIsIgnored) {
    const size_t before = errorutils_instance().ids.size();
    register_status_translator(5, nullptr);
    EXPECT_EQ(errorutils_instance().ids.size(), before);
    EXPECT_EQ(errorutils_instance().translators.size(), before);
}

TEST(CommandResultTest, CopiesTextsAndAppliesPredicates) {
    std::string path = "/tmp/x";
    CommandResult failed(STATUS_COPYFILE_FAILED, path, "copyFile");
    path = "changed";
    EXPECT_EQ(failed.subject, "/tmp/x");
    EXPECT_EQ(failed.operation, "copyFile");
    EXPECT_TRUE(failed.is_error());
    CommandResult internal = STATUS_INTERNAL_ERROR;
    EXPECT_TRUE(internal.subject.empty() && internal.operation.empty());
    EXPECT_FALSE(internal.is_success() || internal.is_error());
}
