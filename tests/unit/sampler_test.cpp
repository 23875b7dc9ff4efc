// The speed sampler of both tests, with times given here.
#include "ftptest/cnettest_ftpbase.h"
#include "httptest/cnettest_httpbase.h"
#include "tests/support/testbed.h"

namespace {

constexpr int64_t GiB = 1LL << 30;

template <typename Test>
class Probe : public Test {
  public:
    Probe() : Test(0, 0) {}
    using Test::isSampleDue;
    using Test::startTransfer;
    int onTranExStat(bool first, const timeval* now) override {
        samples.push_back({first, now->tv_sec, this->m_iLastRecvSize});
        return 0;
    }
    struct Sample {
        bool first;
        time_t at;
        int64_t last;  // the previous sample's bytes: updated only after the hook
    };
    std::vector<Sample> samples;
};

class Sampler : public OwnHost {};

}  // namespace

TEST_F(Sampler, TakesMinimumMaximumAndAverage) {
    Probe<CNetTest_HttpBase> test;
    test.m_stHttpBaseConfig.do_get = 1;
    const timeval start{100, 0};
    test.httpTranStat(&start);  // no earlier call: no sample
    EXPECT_TRUE(test.samples.empty());
    test.startTransfer(start);
    test.httpTranStat(&start);  // no time passed: no sample
    EXPECT_TRUE(test.samples.empty());

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
        test.httpTranStat(&s.at);
        EXPECT_EQ(s.cur, test.m_iCurSpeed) << s.bytes;
        EXPECT_EQ(s.min, test.m_iMinSpeed);
        EXPECT_EQ(s.max, test.m_iMaxSpeed);
        EXPECT_EQ(s.avg, test.m_iAvgSpeed);
    }
    ASSERT_EQ(5U, test.samples.size());
    EXPECT_TRUE(test.samples[0].first);
    EXPECT_FALSE(test.samples[1].first);
    EXPECT_EQ(1000, test.samples[1].last);
}

TEST_F(Sampler, CountsTheSentBytesOfAnUploadAndTraces) {
    Probe<CNetTest_FtpBase> test;
    test.m_stFtpBaseConfig.do_get = 1;
    test.m_stFtpBaseConfig.do_put = 1;  // both: the sent bytes are used
    test.startTransfer({10, 0});
    test.m_iDataRecvSize = 77;
    test.m_iDataSendSize = 5 * GiB;
    const timeval now{12, 0};
    EXPECT_EQ(
        "speed: min=2684354560, max=2684354560, cur=2684354560, avg=2684354560, bytes=5368709120, "
        "msecs=2000transfer all min is 2000\n"
        "received data is 77, send data is 5368709120\n",
        printed([&] { test.ftpTranStat(&now); }));
    EXPECT_EQ("received data is 77, send data is 5368709120\n",
              printed([&] { test.ftpTranStat(&now); }));
    test.m_stFtpBaseConfig.do_get = test.m_stFtpBaseConfig.do_put = 0;
    printed([&] { test.ftpTranStat(nullptr); });  // the clock, and no bytes to count
    EXPECT_EQ(0, test.m_iCurSpeed);
    EXPECT_GT(test.m_tvLastStat.tv_sec, 0);
}

TEST_F(Sampler, IsDueWhenTheWholeSecondsDiffer) {
    Probe<CNetTest_FtpBase> test;
    test.startTransfer({10, 900000});
    EXPECT_FALSE(test.isSampleDue({11, 899999}));
    EXPECT_TRUE(test.isSampleDue({11, 900000}));
    test.m_tvLastStat = {12,
                         100000};  // late for the first second, but the second one comes on time
    EXPECT_FALSE(test.isSampleDue({12, 800000}));
    EXPECT_TRUE(test.isSampleDue({12, 900000}));
}

TEST_F(Sampler, ConstructionPreparesFilesAndState) {
    CNetTest_FtpBase::FTPTEST_DBGLEVEL = -1;
    setenv("DNSREQ_TRYOUT", "3x", 1);
    CNetTest_FtpBase ftp(3, 9);
    unsetenv("DNSREQ_TRYOUT");
    CNetTest_HttpBase http(0, 0);
    EXPECT_EQ(3, CNetBase::DNSREQ_TRYOUT);  // kept, as the second object found none
    EXPECT_EQ(0, CNetTest_FtpBase::FTPTEST_DBGLEVEL);
    EXPECT_STREQ("/proc/sys/net/kanet/port-3", ftp.m_szSysCtrlDir);
    EXPECT_STREQ("net-test", ftp.m_szProcName);
    EXPECT_EQ(0, shell("test -e /tmp/ftprst -a -e /tmp/httpdata"));
    ftp.m_eStepPasv = NET_STEP_PASS;
    ftp.m_iDataPort = ftp.m_iCtrlPort = 7;
    ftp.m_bPutDone = true;
    ftp.m_iDataSendSize = 8;
    ftp.m_sockeCtrl = 0;
    ftp.resetFtpSession();
    EXPECT_EQ(20, ftp.m_iDataPort);
    EXPECT_EQ(21, ftp.m_iCtrlPort);
    EXPECT_EQ(NET_STEP_PASS, ftp.m_eStepPasv);
    EXPECT_FALSE(ftp.m_bPutDone);
    EXPECT_EQ(0, ftp.m_iDataSendSize);
    EXPECT_EQ(-1, ftp.applyTestSetting(nullptr, 0));
    EXPECT_EQ(-1, http.applyTestSetting(nullptr, 0));
    ftp.m_iGetFileSize = -1;
    EXPECT_FALSE(ftp.isIgnore226_onDataRecv());
}
