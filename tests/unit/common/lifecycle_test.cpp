#include "common/lifecycle.hpp"

#include "support/support.hpp"

namespace {

struct thing {
    int value;
};
int destructs = 0;

void thing_destruct(thing *)
{
    ++destructs;
}
void thing_destroy(thing **t)
{
    vela::destroy(t, thing_destruct);
}
thing *thing_create(int result)
{
    return vela::create<thing>([=](thing *t) {
        t->value = 7;
        return result;
    });
}

class Lifecycle : public testing::Test {
protected:
    void SetUp() override
    {
        destructs = 0;
        vela_set_last_error(0);
    }
};

}  // namespace

TEST_F(Lifecycle, CreateGivesWhatInitHasFilled)
{
    test::allocation_count blocks;
    thing *t = thing_create(0);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->value, 7);
    EXPECT_EQ(vela_get_last_error(), 0);
    thing_destroy(&t);
    EXPECT_EQ(t, nullptr);
    EXPECT_EQ(destructs, 1);
    EXPECT_EQ(blocks.live(), 0);
}

TEST_F(Lifecycle, CreatePassesOnTheCodeOfInit)
{
    test::allocation_count blocks;
    EXPECT_EQ(thing_create(KOR_ERR_CANNOT_OPEN), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_CANNOT_OPEN);
    EXPECT_EQ(destructs, 0);
    EXPECT_EQ(blocks.live(), 0);
}

TEST_F(Lifecycle, CreateWithoutMemoryIsNull)
{
    test::failing_allocation fails(0);
    EXPECT_EQ(thing_create(0), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_NO_MEMORY);
}

TEST_F(Lifecycle, OwnedDestroysUnlessReleased)
{
    thing *kept = nullptr;
    {
        vela::owned<thing_destroy> dropped(thing_create(0));
        vela::owned<thing_destroy> handed_over(thing_create(0));
        kept = handed_over.release();
    }
    EXPECT_EQ(destructs, 1);
    thing_destroy(&kept);
}

TEST_F(Lifecycle, OnExitRunsUnlessCancelled)
{
    int runs = 0;
    {
        vela::on_exit once([&] { ++runs; });
        vela::on_exit never([&] { runs += 100; });
        never.cancel();
        EXPECT_EQ(runs, 0);
    }
    EXPECT_EQ(runs, 1);
}
