#include "config.h"

#include "unit/text/text_support.hpp"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// A configuration read from lines.
class Config : public test::InScratchFolder {
protected:
    ~Config() override
    {
        if (config_ != nullptr) config_destroy(&config_);
    }
    // The last error of reading the text, or 0.
    int read(const std::string &text)
    {
        test::write_file("a.conf", text);
        if (config_ != nullptr) config_destroy(&config_);
        vela_set_last_error(0);
        config_ = config_create_from_file("a.conf");
        return vela_get_last_error();
    }
    std::vector<std::string> values(const char *key)
    {
        return values_of(config_, key);
    }
    static std::vector<std::string> values_of(struct config *config,
                                              const char *key)
    {
        uint32_t nvals = 99;
        char **const array = config_get_values_for_key(config, key, &nvals);
        if (array == nullptr) {
            EXPECT_EQ(nvals, 0u);
            return {};
        }
        const std::vector<std::string> copy(array, array + nvals);
        std::free(array);
        return copy;
    }
    static std::vector<std::string> keys_of(const struct config *config)
    {
        std::vector<std::string> keys;
        for (const struct config_key_node *node = config->head; node != nullptr;
             node = node->next)
            keys.push_back(node->key);
        return keys;
    }

    struct config *config_ = nullptr;
};
using ConfigDeathTest = Config;

}  // namespace

// --- files ---

TEST_F(Config, KeepsTheValuesOfAKeyInFileOrder)
{
    ASSERT_EQ(read("a 1\nb 2\na 3\n"), 0);
    EXPECT_THAT(values("a"), ElementsAre("1", "3"));
    EXPECT_THAT(values("b"), ElementsAre("2"));
    EXPECT_STREQ(config_get_single_value_for_key(config_, "a"), "1");
}

TEST_F(Config, HoldsTheKeyThatAppearedLastFirst)
{
    ASSERT_EQ(read("a 1\nb 2\na 3\nc 4\n"), 0);
    EXPECT_THAT(keys_of(config_), ElementsAre("c", "b", "a"));
}

TEST_F(Config, SkipsNotesAndBlankLines)
{
    ASSERT_EQ(read("  # note\n\n \t\n#\nk v # not a comment\n"), 0);
    EXPECT_THAT(keys_of(config_), ElementsAre("k"));
    EXPECT_THAT(values("k"), ElementsAre("v # not a comment"));
}

TEST_F(Config, TakesAnEmptyFile)
{
    ASSERT_EQ(read(""), 0);
    EXPECT_THAT(keys_of(config_), IsEmpty());
}

TEST_F(Config, ComparesKeysExactly)
{
    ASSERT_EQ(read("key 1\nKey 2\nke 3\n"), 0);
    EXPECT_THAT(values("key"), ElementsAre("1"));
    EXPECT_THAT(values("Key"), ElementsAre("2"));
    EXPECT_THAT(values("ke"), ElementsAre("3"));
}

struct line_case {
    const char *name;
    const char *line;
    const char *key;
    const char *value;
};
void PrintTo(const line_case &row, std::ostream *os)
{
    *os << row.name;
}

class ConfigLine : public Config,
                   public testing::WithParamInterface<line_case> {};

TEST_P(ConfigLine, IsReadAs)
{
    const line_case &row = GetParam();
    ASSERT_EQ(read(row.line), 0);
    EXPECT_THAT(keys_of(config_), ElementsAre(row.key));
    EXPECT_THAT(values(row.key), ElementsAre(row.value));
}

constexpr line_case line_cases[] = {
    {"Plain", "k v\n", "k", "v"},
    {"WithoutLineEnd", "k v", "k", "v"},
    {"SeveralWords", "k v w\tx\n", "k", "v w\tx"},
    {"LeadingBlanks", " \t k v\n", "k", "v"},
    {"BlanksBetween", "k \t \tv\n", "k", "v"},
    {"TrailingBlanksStay", "k\tv  \n", "k", "v  "},
    {"CarriageReturnStays", "k v\r\n", "k", "v\r"},
    {"OneBlankAndACarriageReturn", "k \r\n", "k", "\r"},
    {"OnlyBlanksAreTheEmptyValue", "k  \n", "k", ""},
    {"OnlyTabsAreTheEmptyValue", "k\t\t\t\n", "k", ""},
    {"BlankBehindABlankWithoutLineEnd", "k  ", "k", ""},
    {"NumberSignInTheKey", "k# v\n", "k#", "v"},
    {"NumberSignIsTheValue", "k #\n", "k", "#"},
};
INSTANTIATE_TEST_SUITE_P(Table, ConfigLine, testing::ValuesIn(line_cases),
                         [](const auto &row) { return row.param.name; });

class MalformedLine : public Config,
                      public testing::WithParamInterface<
                          std::pair<const char *, const char *>> {};

TEST_P(MalformedLine, MakesTheWholeLoadFail)
{
    test::write_file("a.conf", std::string("good 1\n") + GetParam().second);
    struct config config;
    const test::allocation_count blocks;
    EXPECT_EQ(config_init_from_file(&config, "a.conf"), KOR_ERR_FAILED);
    EXPECT_EQ(config.version, 0u);
    EXPECT_EQ(config.head, nullptr);
    EXPECT_EQ(blocks.live(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Table, MalformedLine,
    testing::Values(std::pair("OnlyAKey", "k\n"),
                    std::pair("OnlyAKeyWithoutLineEnd", "k"),
                    std::pair("OnlyAKeyBehindBlanks", "  k\n"),
                    std::pair("AKeyAndOneBlank", "k \n"),
                    std::pair("AKeyAndOneBlankWithoutLineEnd", "k "),
                    std::pair("OnlyBlanksWithoutLineEnd", " \t"),
                    std::pair("OnlyACarriageReturn", "\r\n")),
    [](const auto &row) { return row.param.first; });

TEST_F(Config, ReadsTheRestOfALongLineAsALine)
{
    // The first 4095 characters are one line, "x y" the next.
    const std::string value(4095 - 2, 'v');
    ASSERT_EQ(read("k " + value + "x y\n"), 0);
    EXPECT_THAT(values("k"), ElementsAre(value));
    EXPECT_THAT(values("x"), ElementsAre("y"));
}

TEST_F(Config, ReadsALineThatJustFitsWhole)
{
    const std::string value(4095 - 3, 'v');
    ASSERT_EQ(read("k " + value + "\nx y\n"), 0);
    EXPECT_THAT(values("k"), ElementsAre(value));
    EXPECT_THAT(values("x"), ElementsAre("y"));
}

TEST_F(Config, IsUntouchedWhenTheFileIsMissing)
{
    struct config config = {77, nullptr};
    EXPECT_EQ(config_init_from_file(&config, "none.conf"), KOR_ERR_CANNOT_OPEN);
    EXPECT_EQ(config.version, 77u);
    EXPECT_EQ(config_create_from_file("none.conf"), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_CANNOT_OPEN);
}

TEST_F(Config, CreatesNothingFromAMalformedFile)
{
    const test::allocation_count blocks;
    EXPECT_EQ(read("a 1\nb\n"), KOR_ERR_FAILED);
    EXPECT_EQ(config_, nullptr);
    EXPECT_EQ(blocks.live(), 0);
}

TEST_F(Config, SurvivesEveryAllocationFailureWhileReading)
{
    test::write_file("a.conf", "a 1\nb 2\na 3\nb 4\nc 5\na 6\n");
    test::expect_every_allocation_failure_is_clean([] {
        vela_set_last_error(0);
        struct config *config = config_create_from_file("a.conf");
        if (config != nullptr) config_destroy(&config);
        return vela_get_last_error();
    });
}

// --- values ---

TEST_F(Config, IsEmptyWhenMade)
{
    config_ = config_create();
    ASSERT_NE(config_, nullptr);
    EXPECT_EQ(config_->version, CONFIG_VERSION);
    EXPECT_EQ(config_->head, nullptr);
}

TEST_F(Config, KeepsCopiesOfWhatIsAdded)
{
    config_ = config_create();
    char key[] = "key";
    char value[] = "value";
    ASSERT_EQ(config_add_value_for_key(config_, key, value), 0);
    key[0] = value[0] = '~';
    EXPECT_THAT(values("key"), ElementsAre("value"));
}

TEST_F(Config, IsEmptyAndOfNoVersionAfterDestruction)
{
    const test::allocation_count blocks;
    struct config config;
    ASSERT_EQ(config_init(&config), 0);
    config_add_value_for_key(&config, "a", "1");
    config_add_value_for_key(&config, "a", "2");
    config_add_value_for_key(&config, "b", "3");
    config_destruct(&config);
    EXPECT_EQ(config.version, 0u);
    EXPECT_EQ(config.head, nullptr);
    EXPECT_EQ(blocks.live(), 0);
}

TEST_F(Config, TellsAnAbsentKeyFromAFailedAllocation)
{
    ASSERT_EQ(read("a 1\n"), 0);
    uint32_t nvals = 99;
    vela_set_last_error(KOR_ERR_FULL);
    EXPECT_EQ(config_get_values_for_key(config_, "b", &nvals), nullptr);
    EXPECT_EQ(nvals, 0u);
    EXPECT_EQ(vela_get_last_error(), 0);

    nvals = 99;
    test::failing_allocation first(0);
    EXPECT_EQ(config_get_values_for_key(config_, "a", &nvals), nullptr);
    EXPECT_EQ(nvals, 0u);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_NO_MEMORY);
}

TEST_F(Config, ClearsTheLastErrorWhenAKeyIsFound)
{
    ASSERT_EQ(read("a 1\n"), 0);
    vela_set_last_error(KOR_ERR_FULL);
    EXPECT_THAT(values("a"), ElementsAre("1"));
    EXPECT_EQ(vela_get_last_error(), 0);
}

TEST_F(Config, GivesTheFirstOfSeveralValuesAlone)
{
    ASSERT_EQ(read("a 1\na 2\n"), 0);
    const test::allocation_count blocks;
    EXPECT_STREQ(config_get_single_value_for_key(config_, "a"), "1");
    EXPECT_EQ(config_get_single_value_for_key(config_, "b"), nullptr);
    EXPECT_EQ(blocks.live(), 0);
}

TEST_F(Config, GivesNoSingleValueWithoutMemory)
{
    ASSERT_EQ(read("a 1\n"), 0);
    test::failing_allocation first(0);
    EXPECT_EQ(config_get_single_value_for_key(config_, "a"), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_NO_MEMORY);
}

// --- out of memory while adding ---

TEST_F(Config, LosesOnlyANewKeyThatFoundNoMemory)
{
    ASSERT_EQ(read("a 1\nb 2\n"), 0);
    for (int n = 0; n < 4; ++n) {  // the key, its name, the value, its text
        SCOPED_TRACE(n);
        test::failing_allocation failing(n);
        EXPECT_EQ(config_add_value_for_key(config_, "c", "3"),
                  KOR_ERR_NO_MEMORY);
        ASSERT_TRUE(failing.reached());
    }
    EXPECT_THAT(keys_of(config_), ElementsAre("b", "a"));
    EXPECT_THAT(values("a"), ElementsAre("1"));
    EXPECT_EQ(config_add_value_for_key(config_, "c", "3"), 0);
}

TEST_F(Config, LosesTheFirstKeyAndTheOneItCouldNotAddTo)
{
    for (int n = 0; n < 2; ++n) {  // the value, its text
        SCOPED_TRACE(n);
        ASSERT_EQ(read("a 1\nb 2\nc 3\nb 4\nd 5\n"), 0);
        {
            test::failing_allocation failing(n);
            EXPECT_EQ(config_add_value_for_key(config_, "b", "6"),
                      KOR_ERR_NO_MEMORY);
            ASSERT_TRUE(failing.reached());
        }
        EXPECT_THAT(keys_of(config_), ElementsAre("c", "a"));
        EXPECT_THAT(values("c"), ElementsAre("3"));
    }
}

TEST_F(Config, LosesTheFirstKeyOnceWhenItIsTheOneItCouldNotAddTo)
{
    ASSERT_EQ(read("a 1\nb 2\n"), 0);
    {
        test::failing_allocation failing(0);
        EXPECT_EQ(config_add_value_for_key(config_, "b", "3"),
                  KOR_ERR_NO_MEMORY);
    }
    EXPECT_THAT(keys_of(config_), ElementsAre("a"));
}

TEST_F(Config, FreesWhatALostKeyHeld)
{
    const test::allocation_count blocks;
    struct config *config = config_create();
    config_add_value_for_key(config, "a", "1");
    config_add_value_for_key(config, "b", "2");
    {
        test::failing_allocation failing(0);
        EXPECT_EQ(config_add_value_for_key(config, "a", "3"),
                  KOR_ERR_NO_MEMORY);
    }
    EXPECT_EQ(config->head, nullptr);
    config_destroy(&config);
}

// --- words ---

struct words_case {
    const char *name;
    const char *value;
    std::vector<std::string> words;
};
void PrintTo(const words_case &row, std::ostream *os)
{
    *os << row.name;
}

class ConfigWords : public testing::TestWithParam<words_case> {};

TEST_P(ConfigWords, AreSplitAtBlanks)
{
    std::string value = GetParam().value;
    uint32_t nwords = 99;
    char **const words = config_split_multiword_value(value.data(), &nwords);
    ASSERT_NE(words, nullptr);
    EXPECT_EQ(std::vector<std::string>(words, words + nwords),
              GetParam().words);
    std::free(words);
}

const words_case words_cases[] = {
    {"Several", " x  y z", {"x", "y", "z"}},
    {"OneCharacter", "x", {"x"}},
    {"EveryOtherCharacter", "a b c", {"a", "b", "c"}},
    {"Tabs", "\tone\ttwo \t", {"one", "two"}},
    {"Empty", "", {}},
    {"OnlyBlanks", "  ", {}},
    {"OtherWhiteSpaceStays", "x\r y\n", {"x\r", "y\n"}},
};
INSTANTIATE_TEST_SUITE_P(Table, ConfigWords, testing::ValuesIn(words_cases),
                         [](const auto &row) { return row.param.name; });

TEST_F(Config, IsChangedWhenItsOwnValueIsSplit)
{
    ASSERT_EQ(read("k one two\n"), 0);
    uint32_t nwords = 0;
    char *const value = config_get_single_value_for_key(config_, "k");
    char **const words = config_split_multiword_value(value, &nwords);
    ASSERT_EQ(nwords, 2u);
    EXPECT_STREQ(words[1], "two");
    std::free(words);
    EXPECT_THAT(values("k"), ElementsAre("one"));
}

TEST_F(Config, ReportsThatSplittingFoundNoMemory)
{
    char value[] = "one two";
    uint32_t nwords = 99;
    test::failing_allocation first(0);
    EXPECT_EQ(config_split_multiword_value(value, &nwords), nullptr);
    EXPECT_EQ(nwords, 0u);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_NO_MEMORY);
}

// --- bugs ---

TEST_F(ConfigDeathTest, MissingArgumentsAbort)
{
    config_ = config_create();
    struct config *null = nullptr;
    uint32_t n = 0;
    char value[] = "x";
    EXPECT_ABORTS(config_init(NULL), "config != NULL");
    EXPECT_ABORTS(config_destruct(NULL), "config != NULL");
    EXPECT_ABORTS(config_destroy(NULL), "config != NULL");
    EXPECT_ABORTS(config_destroy(&null), "*config != NULL");
    EXPECT_ABORTS(config_init_from_file(NULL, "x"), "config != NULL");
    EXPECT_ABORTS(config_init_from_file(config_, NULL), "filename != NULL");
    EXPECT_ABORTS(config_create_from_file(NULL), "filename != NULL");
    EXPECT_ABORTS(config_add_value_for_key(NULL, "k", "v"), "config != NULL");
    EXPECT_ABORTS(config_add_value_for_key(config_, NULL, "v"), "key != NULL");
    EXPECT_ABORTS(config_add_value_for_key(config_, "k", NULL),
                  "value != NULL");
    EXPECT_ABORTS(config_get_values_for_key(NULL, "k", &n), "config != NULL");
    EXPECT_ABORTS(config_get_values_for_key(config_, NULL, &n), "key != NULL");
    EXPECT_ABORTS(config_get_values_for_key(config_, "k", NULL),
                  "nvals != NULL");
    EXPECT_ABORTS(config_get_single_value_for_key(NULL, "k"), "config != NULL");
    EXPECT_ABORTS(config_get_single_value_for_key(config_, NULL),
                  "key != NULL");
    EXPECT_ABORTS(config_split_multiword_value(NULL, &n), "value != NULL");
    EXPECT_ABORTS(config_split_multiword_value(value, NULL), "nwords != NULL");
}

TEST_F(ConfigDeathTest, DestructedConfigurationAborts)
{
    struct config dead = {};
    uint32_t n = 0;
    EXPECT_ABORTS(config_destruct(&dead), "config->version == CONFIG_VERSION");
    EXPECT_ABORTS(config_add_value_for_key(&dead, "k", "v"),
                  "config->version == CONFIG_VERSION");
    EXPECT_ABORTS(config_get_values_for_key(&dead, "k", &n),
                  "config->version == CONFIG_VERSION");
    EXPECT_ABORTS(config_get_single_value_for_key(&dead, "k"),
                  "config->version == CONFIG_VERSION");
}

TEST_F(ConfigDeathTest, BrokenListsAbort)
{
    ASSERT_EQ(read("k 1\nk 2\n"), 0);
    struct config_key_node *const node = config_->head;
    const struct config_key_node whole = *node;
    uint32_t n = 0;

    node->nvalues = 0;
    EXPECT_ABORTS(config_get_values_for_key(config_, "k", &n),
                  "node->nvalues > 0");
    node->nvalues = 1;
    EXPECT_ABORTS(config_get_values_for_key(config_, "k", &n),
                  "i < node->nvalues");
    EXPECT_ABORTS(config_add_value_for_key(config_, "k", "3"),
                  "i < node->nvalues");
    node->nvalues = 3;
    EXPECT_ABORTS(config_get_values_for_key(config_, "k", &n),
                  "i == node->nvalues");
    EXPECT_ABORTS(config_add_value_for_key(config_, "k", "3"),
                  "i == node->nvalues");
    *node = whole;
    node->tail_value = nullptr;
    EXPECT_ABORTS(config_add_value_for_key(config_, "k", "3"),
                  "node->head_value == NULL");
    *node = whole;
    node->head_value = nullptr;
    node->nvalues = 0;
    EXPECT_ABORTS(config_add_value_for_key(config_, "k", "3"),
                  "node->head_value != NULL");
    *node = whole;
}

TEST_F(ConfigDeathTest, AReadErrorAborts)
{
    struct config config;
    EXPECT_ABORTS_IN("config_init_from_file",
                     config_init_from_file(&config, "."), "feof(fp)");
}
