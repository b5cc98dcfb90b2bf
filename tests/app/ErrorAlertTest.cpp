#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "app/records/ErrorAlert.h"

namespace {

struct Shown {
    std::string text;
    bool async;
};

class ErrorAlertTest : public testing::Test {
protected:
    void SetUp() override {
        resetErrorAlertForTesting();
        SetErrorAlertPresenter([this](const std::string& text, bool async) {
            std::lock_guard<std::mutex> lock(fLock);
            fShown.push_back({text, async});
        });
    }
    void TearDown() override { SetErrorAlertPresenter(nullptr); }

    std::mutex fLock;
    std::vector<Shown> fShown;
};

TEST_F(ErrorAlertTest, OnlyTheFirstErrorIsShown) {
    EXPECT_EQ(ErrorAlert("nothing wrong", B_OK, false), B_OK);
    EXPECT_TRUE(fShown.empty());

    EXPECT_EQ(ErrorAlert("Cannot open the file", B_NO_MEMORY, true), B_NO_MEMORY);
    EXPECT_EQ(ErrorAlert("second", B_ERROR, false), B_ERROR);
    ASSERT_EQ(fShown.size(), 1u);
    EXPECT_EQ(fShown[0].text,
              "An error has occured:\n\nCannot open the file\n[Cannot allocate "
              "memory]");
    EXPECT_TRUE(fShown[0].async);
}

TEST_F(ErrorAlertTest, GeneralErrorShowsADash) {
    EXPECT_EQ(ErrorAlert("Engine failed", B_ERROR, false), B_ERROR);
    ASSERT_EQ(fShown.size(), 1u);
    EXPECT_EQ(fShown[0].text, "An error has occured:\n\nEngine failed\n[-]");
    EXPECT_FALSE(fShown[0].async);
    EXPECT_EQ(errorAlertText("x", B_RESOURCE_UNAVAILABLE),
              "An error has occured:\n\nx\n[Resource unavailable]");
}

TEST_F(ErrorAlertTest, ErrorsFromManyThreadsShowOnce) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; i++)
        threads.emplace_back([] { ErrorAlert("racing", B_BUSY, true); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(fShown.size(), 1u);
}

TEST_F(ErrorAlertTest, WithoutAPresenterTheTextGoesToStandardError) {
    SetErrorAlertPresenter(nullptr);
    testing::internal::CaptureStderr();
    ErrorAlert("No video input", B_ERROR, false);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "tavro: An error has occured:\n\nNo video input\n[-]\n");
}

}  // namespace
