#include <mutex>
#include <thread>
#include <vector>

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/sinks/unlocked_frontend.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include "agent/host/logging.hpp"

namespace {

namespace log = boost::log;
using agent::host::logging::enabled_levels;
using agent::host::logging::set_enabled_levels;
using Logger = agent::host::logging::basic_diagnostic_logger<char>;

struct Written {
  std::uint32_t severity;
  std::string channel;
  std::string message;
};

class CollectingBackend : public log::sinks::basic_sink_backend<log::sinks::synchronized_feeding> {
 public:
  void consume(const log::record_view& record) {
    records.push_back({log::extract_or_throw<std::uint32_t>("Severity", record),
                       log::extract_or_throw<std::string>("Channel", record),
                       log::extract_or_throw<std::string>("Message", record)});
  }

  std::vector<Written> records;
};

class ADiagnosticLogger : public testing::Test {
 protected:
  ADiagnosticLogger() { log::core::get()->add_sink(sink_); }
  ~ADiagnosticLogger() override {
    log::core::get()->remove_sink(sink_);
    set_enabled_levels(0);
  }

  const std::vector<Written>& records() { return backend_->records; }

 private:
  boost::shared_ptr<CollectingBackend> backend_ = boost::make_shared<CollectingBackend>();
  boost::shared_ptr<log::sinks::synchronous_sink<CollectingBackend>> sink_ =
      boost::make_shared<log::sinks::synchronous_sink<CollectingBackend>>(backend_);
};

TEST_F(ADiagnosticLogger, WritesItsChannelAndTheLevelIntoEveryRecord) {
  Logger sut("some::channel");
  BOOST_LOG_SEV(sut, 512u) << "text";
  ASSERT_EQ(records().size(), 1u);
  EXPECT_EQ(records()[0].severity, 512u);
  EXPECT_EQ(records()[0].channel, "some::channel");
  EXPECT_EQ(records()[0].message, "text");
}

TEST_F(ADiagnosticLogger, ServesSeveralThreadsAtOnce) {
  Logger sut("some::channel");
  const auto write = [&] {
    for (int i = 0; i < 100; ++i) {
      BOOST_LOG_SEV(sut, 4u) << i;
    }
  };
  std::thread first(write);
  std::thread second(write);
  first.join();
  second.join();
  EXPECT_EQ(records().size(), 200u);
}

TEST_F(ADiagnosticLogger, EnablesNothingAtFirst) {
  EXPECT_EQ(Logger("c").enabled_levels(), 0u);
}

TEST_F(ADiagnosticLogger, SeesAChangeOfTheProcessWideMask) {
  const Logger first("a");
  const Logger second("b");
  set_enabled_levels(4u | 512u);
  EXPECT_EQ(first.enabled_levels(), 516u);
  EXPECT_EQ(second.enabled_levels(), 516u);
  EXPECT_EQ(enabled_levels(), 516u);
  set_enabled_levels(0xffffffffu);
  EXPECT_EQ(first.enabled_levels(), 0xffffffffu);
}

}  // namespace
