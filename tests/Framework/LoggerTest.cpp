#include "Framework/Logger.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <gtest/gtest.h>

#include "support/FreshStatics.h"

namespace TZM {
namespace {

TEST(Logger, WritesTheLocalTimeBeforeTheTextAndNoLineEnd) {
    const char* old = std::getenv("LC_ALL");
    const std::string before = old ? old : "";
    for (const char* locale : {"C", "xx_NOWHERE"}) { // the second doesn't exist: the classic form
        const FreshStatics statics;
        setenv("LC_ALL", locale, 1);
        Logger::GetInstance()->LogText("any text");
        int hour = 0, minute = 0, second = 0, end = 0;
        std::sscanf(statics.Log().c_str(), "Log (%2d:%2d:%2d): any text%n", &hour, &minute, &second, &end);
        EXPECT_EQ(static_cast<std::size_t>(end), statics.Log().size()) << statics.Log();
        const std::time_t now = std::time(nullptr);
        std::tm local{};
        localtime_r(&now, &local);
        const int late = ((local.tm_hour - hour) * 60 + local.tm_min - minute) * 60 + local.tm_sec - second;
        EXPECT_LE((late + 86400) % 86400, 5);
        EXPECT_FALSE(Logger::GetInstance()->HasErrors());
    }
    old ? setenv("LC_ALL", before.c_str(), 1) : unsetenv("LC_ALL");
}

TEST(Logger, KeepsErrorsInOrderUntilTheyAreCleared) {
    const FreshStatics statics;
    Logger& logger = *Logger::GetInstance();
    logger.LogError("x");
    logger.LogError("y\n");
    EXPECT_TRUE(logger.HasErrors());
    EXPECT_EQ(logger.GetErrorList(), (std::deque<std::string>{"x", "y\n"}));
    EXPECT_NE(statics.Log().find("): x"), std::string::npos);
    Logger copy = logger;
    logger.ClearErrorList();
    EXPECT_FALSE(logger.HasErrors());
    EXPECT_EQ(copy.GetErrorList().size(), 2u);
}

} // namespace
} // namespace TZM
