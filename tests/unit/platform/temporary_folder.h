// A folder of its own for every test that touches files, gone afterwards with everything in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include <sys/stat.h>

#include <gtest/gtest.h>

class temporary_folder_test : public testing::Test {
  protected:
    std::string folder;

    temporary_folder_test() {
        char name[] = "/tmp/poe_test_XXXXXX";
        if (mkdtemp(name) == nullptr) throw std::runtime_error("no temporary folder");
        folder = name;
    }
    ~temporary_folder_test() override { std::filesystem::remove_all(folder); }

    std::string in_folder(const std::string& name) const { return folder + "/" + name; }

    static void write_file(const std::string& path, const std::string& text) {
        std::ofstream(path, std::ios::binary) << text;
    }
    static std::string contents_of(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static struct stat status_of(const std::string& path) {
        struct stat found {};
        if (lstat(path.c_str(), &found) != 0) ADD_FAILURE() << path << " does not exist";
        return found;
    }
    static unsigned permissions_of(const std::string& path) { return status_of(path).st_mode & 07777u; }
    static bool exists(const std::string& path) {
        struct stat found {};
        return lstat(path.c_str(), &found) == 0;
    }
    static int open_descriptors() {
        return static_cast<int>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
    }
};
