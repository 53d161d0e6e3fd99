#include "world/folders.h"

#include <gmock/gmock.h>

namespace {

using namespace vswitch;
using std::filesystem::path;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(kept_folders, only_what_a_hidden_folder_hides_is_kept) {
    EXPECT_THAT(kept_folders({"/usr/lib", "/tmp/clone", "/home/me/tmp", "/tmpfiles/x", "/dev/shm", "/flash/tools"}),
                ElementsAre("/dev/shm", "/flash/tools", "/tmp/clone"));
}

TEST(kept_folders, a_hidden_folder_itself_stays_hidden) {
    EXPECT_THAT(kept_folders({"/tmp", "/dev", "/flash", "/"}), IsEmpty());
}

TEST(kept_folders, a_folder_within_a_kept_one_is_not_kept_twice) {
    EXPECT_THAT(kept_folders({"/tmp/clone/build/bin", "/tmp/clone", "/tmp/clone", "/tmp/clone-2"}),
                ElementsAre("/tmp/clone", "/tmp/clone-2"));
}

TEST(output_folders, profiles_and_sanitizer_reports_are_found_in_the_environment) {
    const char* const environment[] = {"LLVM_PROFILE_FILE=/tmp/a/%p.profraw",
                                       "ASAN_OPTIONS=abort_on_error=1:log_path=/tmp/b/asan:halt_on_error=1",
                                       "TSAN_OPTIONS=log_path=/tmp/c/tsan second=1",
                                       "UBSAN_OPTIONS=print_stacktrace=1",
                                       "OTHER=/tmp/d/e",
                                       "NOTHING",
                                       nullptr};
    EXPECT_THAT(output_folders(environment), ElementsAre("/tmp/a", "/tmp/b", "/tmp/c"));
}

TEST(output_folders, relative_names_need_no_folder) {
    const char* const environment[] = {"LLVM_PROFILE_FILE=default.profraw", "ASAN_OPTIONS=log_path=stderr", nullptr};
    EXPECT_THAT(output_folders(environment), IsEmpty());
}

}  // namespace
