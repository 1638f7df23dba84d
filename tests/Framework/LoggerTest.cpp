#include "Framework/Logger.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <gtest/gtest.h>

#include "support/FreshStatics.h"

namespace TZM {
namespace {

/// Sets a variable of the environment, and gives it back as it was.
class Environment {
public:
    Environment(const char* variable, const char* value) : name(variable) {
        if (const char* old = std::getenv(variable)) {
            before = old;
            wasSet = true;
        }
        setenv(variable, value, 1);
    }
    ~Environment() { wasSet ? setenv(name, before.c_str(), 1) : unsetenv(name); }

private:
    const char* name;
    std::string before;
    bool wasSet = false;
};

TEST(Logger, WritesTheLocalTimeBeforeTheTextAndNoLineEnd) {
    const FreshStatics statics;
    for (const char* locale : {"C", "xx_NOWHERE"}) { // the second doesn't exist: the classic form
        const Environment all("LC_ALL", locale);
        const std::size_t start = statics.Log().size();
        Logger::GetInstance()->LogText("any text");
        const std::string line = statics.Log().substr(start);
        int hour = 0, minute = 0, second = 0, end = 0;
        std::sscanf(line.c_str(), "Log (%2d:%2d:%2d): any text%n", &hour, &minute, &second, &end);
        ASSERT_EQ(static_cast<std::size_t>(end), line.size()) << line;
        const std::time_t now = std::time(nullptr);
        std::tm local{};
        localtime_r(&now, &local);
        const int late = ((local.tm_hour - hour) * 60 + local.tm_min - minute) * 60 + local.tm_sec - second;
        EXPECT_LE((late + 86400) % 86400, 5);
    }
    EXPECT_FALSE(Logger::GetInstance()->HasErrors());
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
