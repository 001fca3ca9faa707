#include <clocale>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace
{

// Switches the process locale the way a GUI toolkit does at start, for the whole run.
class LocaleEnvironment : public ::testing::Environment
{
public:
    explicit LocaleEnvironment(std::string name)
        : m_name(std::move(name))
    {
    }
    void SetUp() override
    {
        ASSERT_NE(std::setlocale(LC_ALL, m_name.c_str()), nullptr)
            << "locale " << m_name << " is not installed (scripts/setup generates it)";
        char buffer[32];
        std::snprintf(buffer, sizeof buffer, "%.1f", 1.5);
        ASSERT_STREQ(buffer, "1,5") << "expected a decimal-comma locale";
    }
    void TearDown() override { std::setlocale(LC_ALL, "C"); }

private:
    std::string m_name;
};

} // namespace

int main(int argc, char **argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    for (int i = 1; i < argc; ++i) {
        constexpr const char *prefix = "--locale=";
        if (std::strncmp(argv[i], prefix, std::strlen(prefix)) == 0)
            ::testing::AddGlobalTestEnvironment(
                new LocaleEnvironment(argv[i] + std::strlen(prefix)));
    }
    return RUN_ALL_TESTS();
}
