// The speed sampler and the rule of batches, with times given here.
#include "ftptest/cnettest_ftpbase.h"
#include "measure/batchrule.h"
#include "netbase/support/clock.h"
#include "tests/support/testbed.h"

namespace {

constexpr int64_t GiB = 1LL << 30;

struct Probe : CNetTest_FtpBase {
    Probe() : CNetTest_FtpBase(0, 0) {}
    using CTransferStat::startTransfer;
    int onTranExStat(bool first, const timeval*) override {
        // The last values are updated only after this hook.
        samples += (first ? "first " : "next ") + std::to_string(m_iLastRecvSize) + ",";
        return 0;
    }
    std::string samples;
};

class Sampler : public OwnHost {};

}  // namespace

TEST_F(Sampler, TakesMinimumMaximumAndAverage) {
    Probe test;
    test.m_stFtpBaseConfig.do_get = 1;
    const timeval start{100, 0};
    printed([&] { test.ftpTranStat(&start); });  // no earlier call: no sample
    test.startTransfer(start);
    printed([&] { test.ftpTranStat(&start); });  // no time passed: no sample
    EXPECT_EQ("", test.samples);
    const struct {
        timeval at;
        int64_t bytes, cur, min, max, avg;
    } steps[] = {
        {{101, 0}, 1000, 1000, 1000, 1000, 1000},
        {{101, 500000}, 3000, 4000, 1000, 4000, 2000},
        {{103, 500000}, 3200, 100, 100, 4000, 914},
        {{103, 500999}, 9999, 0, 0, 4000, 2856},  // under a millisecond
        {{104, 500999}, 9999 + 6 * GiB, 6 * GiB, 0, 6 * GiB, 6442460943999 / 4500},
    };
    for (const auto& s : steps) {
        test.m_iDataRecvSize = s.bytes;
        printed([&] { test.ftpTranStat(&s.at); });
        EXPECT_EQ(std::tie(s.cur, s.min, s.max, s.avg),
                  std::tie(test.m_iCurSpeed, test.m_iMinSpeed, test.m_iMaxSpeed, test.m_iAvgSpeed));
    }
    EXPECT_EQ("first 0,next 1000,next 3000,next 3200,next 9999,", test.samples);
}

TEST(BatchRule, TakesBatchesUnlessTheyBringClearlyLess) {
    // Megabytes per second without batches and with them; the per cent of the time that goes to
    // batches, and their KiB in the end.
    struct Case {
        int64_t any, batches;
        int least, most, kib;
    };
    for (const auto& [any, batches, least, most, kib] : {Case{1000, 1000, 90, 100, 256},
                                                         {1000, 980, 90, 100, 256},
                                                         {1000, 900, 0, 10, 256},
                                                         {1000, 1100, 90, 100, 512},
                                                         {9000, 9000, 90, 100, 512},
                                                         {100, 100, 90, 100, 32},
                                                         {20, 20, 0, 0, 0}}) {
        CBatchRule rule;
        int64_t batch = 1;
        int64_t last = 0;
        int in_batches = 0;
        for (int msecs = 0; msecs < 5000; ++msecs) {
            batch = rule.follow((batch > 1 ? batches : any) * 1000,
                                {9 + msecs / 1000, msecs % 1000 * 1000});
            in_batches += batch > 1 ? 1 : 0;
            last = batch > 1 ? batch : last;
        }
        SCOPED_TRACE(std::to_string(any) + " " + std::to_string(batches));
        EXPECT_GE(in_batches / 50, least);
        EXPECT_LE(in_batches / 50, most);
        EXPECT_EQ(kib, last / 1024);
    }
}

TEST(BatchRule, FollowsARateThatChanges) {
    CBatchRule rule;
    timeval now{9, 0};
    const auto batchAfter = [&](int64_t megabytes, int windows) {
        int64_t batch = 0;
        for (int i = 0; i < windows; ++i) {
            now = ka_tv_add(now, {0, 8000});
            batch = rule.follow(megabytes * 8000, now);
        }
        return batch;
    };
    EXPECT_EQ(262144, batchAfter(1000, 40));
    EXPECT_EQ(32768, batchAfter(100, 2));
    rule.giveUp();  // a batch did not come
    EXPECT_EQ(1, rule.follow(5, ka_tv_add(now, {0, 7000})));
    now = ka_tv_add(now, {1, 0});
    EXPECT_EQ(1, rule.follow(0, now));  // a stall
    EXPECT_EQ(262144, batchAfter(1000, 4));
    EXPECT_EQ(1, batchAfter(20, 1));
}
