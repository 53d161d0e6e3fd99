// A folder for one test, at a path short enough for local sockets.
#pragma once

#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <stdlib.h>

class own_folder_test : public testing::Test {
  protected:
    own_folder_test() {
        std::string name = "/tmp/vswitch-XXXXXX";
        if (mkdtemp(name.data()) != nullptr) folder = name;
    }
    ~own_folder_test() override { std::filesystem::remove_all(folder); }

    std::filesystem::path folder;
};
