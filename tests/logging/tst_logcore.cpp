#include "helper_countinglogger.h"
#include "logging/consolelogger.h"
#include "logging/dispatchqueue.h"
#include "logging/log.h"
#include "logging/systemlogger.h"

#include <QProcess>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QtTest>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <future>
#include <thread>
#include <unistd.h>

namespace {

// Posts through the full path (gate, formatting, queueing) with a flag of our choice.
void post(bool asynchronous, unsigned flag, const char* text)
{
    Log::log(asynchronous, kProgramLogLevel, flag, 0, __FILE__, "post", __LINE__, nullptr, "%s", text);
}

// A pipe whose read end never blocks, so a test can take whatever the logger wrote so far.
class Pipe
{
public:
    Pipe()
    {
        if (::pipe(fds_) == 0)
            ::fcntl(fds_[0], F_SETFL, O_NONBLOCK);
    }
    ~Pipe()
    {
        ::close(fds_[0]);
        ::close(fds_[1]);
    }
    int writeEnd() const { return fds_[1]; }
    QByteArray readAll() const
    {
        QByteArray out;
        char buffer[4096];
        for (;;) {
            const ssize_t n = ::read(fds_[0], buffer, sizeof buffer);
            if (n > 0)
                out.append(buffer, n);
            else if (n < 0 && errno == EINTR)
                continue;
            else
                break;
        }
        return out;
    }

private:
    int fds_[2] = {-1, -1};
};

class PrefixFormatter : public LogFormatter
{
public:
    explicit PrefixFormatter(std::string prefix, std::string dropWhenContains = {})
        : prefix_(std::move(prefix)), drop_(std::move(dropWhenContains))
    {
    }
    std::atomic<int> added{0};
    std::atomic<int> removed{0};

    std::optional<std::string> formatLogMessage(const LogMessage& message) override
    {
        if (!drop_.empty() && message.message().find(drop_) != std::string::npos)
            return std::nullopt;
        return prefix_ + message.message();
    }
    void didAddToLogger(Logger&) override { ++added; }
    void willRemoveFromLogger(Logger&) override { ++removed; }

private:
    std::string prefix_;
    std::string drop_;
};

LogMessage::Clock::time_point utcTime(int year, int month, int day, int hour, int minute, int second,
                                      int millis)
{
    std::tm tm{};
    tm.tm_year = year - 1900;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    tm.tm_hour = hour;
    tm.tm_min = minute;
    tm.tm_sec = second;
    return LogMessage::Clock::from_time_t(timegm(&tm)) + std::chrono::milliseconds(millis);
}

std::string ownThreadID()
{
    return std::to_string(static_cast<long long>(gettid()));
}

struct Holder
{
    Holder(Signal* signal, std::shared_ptr<DispatchQueue> q) : destroyed(signal), queue(std::move(q)) {}
    Holder(const Holder&) = delete;
    ~Holder()
    {
        queue.reset(); // the last reference: the queue is destroyed on its own thread
        destroyed->raise();
    }
    Signal* destroyed;
    std::shared_ptr<DispatchQueue> queue;
};

// Buffers what it is given and writes it to standard output only when flushed.
class BufferingLogger : public AbstractLogger
{
public:
    BufferingLogger() : AbstractLogger("test.buffering") {}
    void logMessage(const LogMessage& message) override { buffer_ += message.message(); }
    bool respondsToFlush() const override { return true; }
    void flush() override
    {
        buffer_ += "|flushed\n";
        [[maybe_unused]] const ssize_t written = ::write(STDOUT_FILENO, buffer_.data(), buffer_.size());
        buffer_.clear();
    }

private:
    std::string buffer_;
};

// The child process of flushesAtProcessExit: logs without flushing and leaves main().
int exitingChild()
{
    Log::addLogger(std::make_shared<BufferingLogger>());
    LOG_INFO("bye %d", 1);
    return 0;
}

constexpr char kExitChildVariable[] = "ICONFOUNDRY_LOGCORE_EXIT_CHILD";

} // namespace

class TestLogCore : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void levelGates_data();
    void levelGates();
    void statementsCaptureTheirSource();
    void formatting_data();
    void formatting();
    void nullFormatLogsNothing();
    void orderPerProducerIsKept();
    void errorStatementWaitsForEveryLogger();
    void asynchronousStatementDoesNotWait();
    void inFlightBoundBlocksThe1001stMessage();
    void formatterReturningNothingDropsForThatLoggerOnly();
    void formatterChangesAreOrderedWithMessages();
    void fileName_data();
    void fileName();
    void functionName_data();
    void functionName();
    void functionNameOfLiveStatements();
    void flushLogWithoutFlushingLoggerReturns();
    void flushLogWaitsForFlush();
    void flushesAtProcessExit();
    void registration();
    void consoleLine_data();
    void consoleLine();
    void consoleLineOfALiveStatement();
    void systemLoggerPriorities_data();
    void systemLoggerPriorities();
    void systemLoggerIsSingle();
    void queueTimersFireInTimeOrderAndCancel();
    void queueSyncFromItselfRunsInline();
    void queueDestructionRunsQueuedTasksAndDropsTimers();
    void queueDestroyedFromItsOwnTask();
};

void TestLogCore::initTestCase()
{
    // Console lines are in local time; pin it so the expected lines can be written down.
    qputenv("TZ", "UTC");
    tzset();
}

void TestLogCore::cleanup()
{
    Log::removeAllLoggers();
    Log::flushLog();
    QVERIFY(Log::allLoggers().empty());
}

void TestLogCore::levelGates_data()
{
    QTest::addColumn<bool>("withLevel");
    QTest::addColumn<unsigned>("level");
    QTest::addColumn<QList<unsigned>>("expected");

    QTest::newRow("error level gets errors only") << true << 1u << QList<unsigned>{1};
    QTest::newRow("warning level") << true << 3u << QList<unsigned>{1, 2};
    QTest::newRow("info level") << true << 7u << QList<unsigned>{1, 2, 4};
    QTest::newRow("debug level") << true << 15u << QList<unsigned>{1, 2, 4, 8};
    QTest::newRow("verbose level: no foreign flags") << true << 31u << QList<unsigned>{1, 2, 4, 8, 16};
    QTest::newRow("off") << true << 0u << QList<unsigned>{};
    QTest::newRow("info alone, not a level") << true << 4u << QList<unsigned>{4};
    QTest::newRow("foreign bit 32") << true << 32u << QList<unsigned>{32};
    QTest::newRow("top bit") << true << (1u << 31) << QList<unsigned>{1u << 31};
    QTest::newRow("added without level gets every flag")
        << false << 0u << QList<unsigned>{1, 2, 4, 8, 16, 32, 1u << 31};
}

void TestLogCore::levelGates()
{
    QFETCH(bool, withLevel);
    QFETCH(unsigned, level);
    QFETCH(QList<unsigned>, expected);

    auto logger = std::make_shared<CountingLogger>();
    if (withLevel)
        Log::addLogger(logger, level);
    else
        Log::addLogger(logger);
    for (unsigned flag : {1u, 2u, 4u, 8u, 16u, 32u, 1u << 31})
        post(true, flag, "gate");
    Log::flushLog(); // every earlier message has been delivered when this returns

    const auto received = logger->flags();
    QCOMPARE(QList<unsigned>(received.begin(), received.end()), expected);
}

void TestLogCore::statementsCaptureTheirSource()
{
    auto logger = std::make_shared<CountingLogger>();
    Log::addLogger(logger);

    const unsigned infoLine = __LINE__ + 1;
    LOG_INFO("value %d of %s", 7, "seven");
    [] { LOG_ERROR("inside a lambda"); }();
    DispatchQueue queue("test.labelled");
    queue.sync([] { LOG_VERBOSE("on a queue"); });
    Log::flushLog();

    const auto messages = logger->messages();
    QCOMPARE(messages.size(), std::size_t(3));
    const LogMessage& info = messages[0];
    QCOMPARE(info.message(), std::string("value 7 of seven"));
    QCOMPARE(info.flag(), 4u);
    QCOMPARE(info.level(), 31u);
    QCOMPARE(info.context(), 0L);
    QCOMPARE(info.line(), infoLine);
    QCOMPARE(info.fileName(), std::string("tst_logcore"));
    QCOMPARE(info.function(), std::string("TestLogCore::statementsCaptureTheirSource"));
    QCOMPARE(info.threadID(), ownThreadID());
    QCOMPARE(info.queueLabel(), std::string());
    QCOMPARE(info.options(), 0);

    QCOMPARE(messages[1].flag(), 1u);
    QCOMPARE(messages[1].function(), std::string("TestLogCore::statementsCaptureTheirSource"));

    QCOMPARE(messages[2].flag(), 16u);
    QCOMPARE(messages[2].queueLabel(), std::string("test.labelled"));
    QVERIFY(messages[2].threadID() != ownThreadID());
}

void TestLogCore::formatting_data()
{
    QTest::addColumn<QByteArray>("format");
    QTest::addColumn<QByteArray>("argument");
    QTest::addColumn<QByteArray>("expected");

    QTest::newRow("conversions in the argument stay text")
        << QByteArray("%s") << QByteArray("100% %n %s") << QByteArray("100% %n %s");
    QTest::newRow("precision") << QByteArray("<%.3s>") << QByteArray("abcdef") << QByteArray("<abc>");
    QTest::newRow("empty") << QByteArray("%s") << QByteArray() << QByteArray();
    QTest::newRow("literal percent") << QByteArray("%s%%") << QByteArray("50") << QByteArray("50%");
    QTest::newRow("511 characters") << QByteArray("%s") << QByteArray(511, 'a') << QByteArray(511, 'a');
    QTest::newRow("512 characters") << QByteArray("%s") << QByteArray(512, 'b') << QByteArray(512, 'b');
    QTest::newRow("long line") << QByteArray("[%s]") << QByteArray(20000, 'c')
                               << (QByteArray("[") + QByteArray(20000, 'c') + "]");
    QTest::newRow("utf-8 and control characters")
        << QByteArray("%s") << QByteArray("gr\xc3\xbc\xc3\x9f\t\x01\n")
        << QByteArray("gr\xc3\xbc\xc3\x9f\t\x01\n");
}

void TestLogCore::formatting()
{
    QFETCH(QByteArray, format);
    QFETCH(QByteArray, argument);
    QFETCH(QByteArray, expected);

    auto logger = std::make_shared<CountingLogger>();
    Log::addLogger(logger);
    Log::log(true, 31, LogFlagInfo, 0, __FILE__, "f", 1, nullptr, format.constData(), argument.constData());
    Log::flushLog();

    const auto messages = logger->messages();
    QCOMPARE(messages.size(), std::size_t(1));
    QCOMPARE(QByteArray::fromStdString(messages[0].message()), expected);
}

void TestLogCore::nullFormatLogsNothing()
{
    auto logger = std::make_shared<CountingLogger>();
    Log::addLogger(logger);
    const char* noFormat = nullptr;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
    Log::log(false, 31, LogFlagError, 0, __FILE__, "f", 1, nullptr, noFormat);
#pragma GCC diagnostic pop
    Log::log(true, 31, LogFlagInfo, 0, nullptr, nullptr, 1, nullptr, "%s", "null file and function");
    Log::flushLog();

    const auto messages = logger->messages();
    QCOMPARE(messages.size(), std::size_t(1));
    QCOMPARE(messages[0].file(), std::string());
    QCOMPARE(messages[0].function(), std::string());
}

void TestLogCore::orderPerProducerIsKept()
{
    constexpr int producers = 4;
    constexpr int perProducer = 400; // 1600 in all: more than the in-flight bound
    auto first = std::make_shared<CountingLogger>("test.first");
    auto second = std::make_shared<CountingLogger>("test.second");
    Log::addLogger(first);
    Log::addLogger(second);

    std::vector<std::thread> threads;
    for (int p = 0; p < producers; ++p) {
        threads.emplace_back([p] {
            for (int i = 0; i < perProducer; ++i)
                Log::log(true, 31, LogFlagInfo, 0, __FILE__, "f", 1, nullptr, "%d %d", p, i);
        });
    }
    for (auto& t : threads)
        t.join();
    Log::flushLog();

    const auto a = first->messages();
    const auto b = second->messages();
    QCOMPARE(a.size(), std::size_t(producers * perProducer));
    QCOMPARE(b.size(), a.size());
    int next[producers] = {};
    for (std::size_t k = 0; k < a.size(); ++k) {
        // Both loggers see the one order of the logging queue.
        QCOMPARE(b[k].message(), a[k].message());
        int p = -1;
        int i = -1;
        QCOMPARE(std::sscanf(a[k].message().c_str(), "%d %d", &p, &i), 2);
        QVERIFY(p >= 0 && p < producers);
        QCOMPARE(i, next[p]);
        ++next[p];
    }
}

void TestLogCore::errorStatementWaitsForEveryLogger()
{
    // The slow logger keeps writing until the caller has returned, or for 150 ms. If the caller
    // could return before the write ends, it would find the slow logger's record missing.
    Signal callerReturned;
    auto slow = std::make_shared<CountingLogger>("test.slow");
    slow->beforeRecording = [&](const LogMessage&) { callerReturned.wait(150ms); };
    auto fast = std::make_shared<CountingLogger>("test.fast");
    auto errorsOnly = std::make_shared<CountingLogger>("test.errors");
    Log::addLogger(fast);
    Log::addLogger(slow);
    Log::addLogger(errorsOnly, LogLevelError);

    LOG_ERROR("must be written before returning: %d", 1);
    const std::size_t slowAtReturn = slow->count();
    const std::size_t fastAtReturn = fast->count();
    const std::size_t errorsAtReturn = errorsOnly->count();
    callerReturned.raise();

    QCOMPARE(slowAtReturn, std::size_t(1));
    QCOMPARE(fastAtReturn, std::size_t(1));
    QCOMPARE(errorsAtReturn, std::size_t(1));
}

void TestLogCore::asynchronousStatementDoesNotWait()
{
    auto gate = std::make_shared<Gate>();
    auto blocked = std::make_shared<CountingLogger>();
    blocked->beforeRecording = [gate](const LogMessage&) { gate->pass(); };
    Log::addLogger(blocked);

    auto call = std::async(std::launch::async, [] { LOG_INFO("queued while the logger is held"); });
    const bool returned = call.wait_for(5s) == std::future_status::ready;
    gate->openForGood();
    QVERIFY(returned);
    QVERIFY(blocked->waitForCount(1));
}

void TestLogCore::inFlightBoundBlocksThe1001stMessage()
{
    constexpr int total = 1002;
    auto gate = std::make_shared<Gate>();
    auto logger = std::make_shared<CountingLogger>();
    logger->beforeRecording = [gate](const LogMessage&) { gate->pass(); };
    Log::addLogger(logger);
    Log::flushLog();

    std::mutex mutex;
    std::condition_variable changed;
    int returned = 0;
    auto returnedExceeds = [&](int n, std::chrono::milliseconds timeout) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, timeout, [&] { return returned > n; });
    };
    auto returnedReaches = [&](int n, std::chrono::milliseconds timeout) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, timeout, [&] { return returned >= n; });
    };

    std::thread producer;
    // Whatever fails below, the producer must not be left blocked behind a closed gate.
    const auto release = qScopeGuard([&] {
        gate->openForGood();
        if (producer.joinable())
            producer.join();
    });
    producer = std::thread([&] {
        for (int i = 0; i < total; ++i) {
            post(true, LogFlagInfo, "bounded");
            {
                std::lock_guard lock(mutex);
                ++returned;
            }
            changed.notify_all();
        }
    });

    // The first message is held inside the logger; 999 more wait on the logging queue.
    QVERIFY(returnedReaches(1000, 10s));
    QVERIFY(!returnedExceeds(1000, 200ms));
    QCOMPARE(logger->entered.load(), 1);

    // One delivery frees exactly one place.
    gate->open(1);
    QVERIFY(logger->waitForCount(1));
    QVERIFY(returnedReaches(1001, 10s));
    QVERIFY(!returnedExceeds(1001, 100ms));

    gate->openForGood();
    producer.join();
    QVERIFY(logger->waitForCount(total));
    Log::flushLog();
    QCOMPARE(logger->count(), std::size_t(total));
}

void TestLogCore::formatterReturningNothingDropsForThatLoggerOnly()
{
    Pipe withFormatter;
    Pipe plain;
    auto formatted = std::make_shared<ConsoleLogger>(withFormatter.writeEnd());
    formatted->setLogFormatter(std::make_shared<PrefixFormatter>("F: ", "secret"));
    auto unformatted = std::make_shared<ConsoleLogger>(plain.writeEnd());
    Log::addLogger(formatted);
    Log::addLogger(unformatted);

    post(true, LogFlagInfo, "public one");
    post(false, LogFlagError, "a secret");
    post(true, LogFlagInfo, "public two");
    Log::flushLog();

    QCOMPARE(withFormatter.readAll(), QByteArray("F: public one\nF: public two\n"));
    const QList<QByteArray> lines = plain.readAll().split('\n');
    QCOMPARE(lines.size(), 4); // three lines and the empty rest after the last line feed
    QVERIFY(lines[0].endsWith("] public one"));
    QVERIFY(lines[1].endsWith("] a secret"));
    QVERIFY(lines[2].endsWith("] public two"));
    QVERIFY(lines[3].isEmpty());
}

void TestLogCore::formatterChangesAreOrderedWithMessages()
{
    Pipe pipe;
    auto console = std::make_shared<ConsoleLogger>(pipe.writeEnd());
    auto one = std::make_shared<PrefixFormatter>("1: ");
    auto two = std::make_shared<PrefixFormatter>("2: ");
    Log::addLogger(console);

    console->setLogFormatter(one);
    post(true, LogFlagInfo, "a");
    console->setLogFormatter(one); // the same object again: no hooks
    post(true, LogFlagInfo, "b");
    console->setLogFormatter(two);
    post(true, LogFlagInfo, "c");
    console->setLogFormatter(nullptr);
    console->setLogFormatter(two);
    QCOMPARE(console->logFormatter(), std::static_pointer_cast<LogFormatter>(two));
    Log::flushLog();

    QCOMPARE(pipe.readAll(), QByteArray("1: a\n1: b\n2: c\n"));
    QCOMPARE(one->added.load(), 1);
    QCOMPARE(one->removed.load(), 1);
    QCOMPARE(two->added.load(), 2);
    QCOMPARE(two->removed.load(), 1);
}

void TestLogCore::fileName_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("expected");

    QTest::newRow("dots in the name") << "/src/app/My.File.m"
                                      << "My.File";
    QTest::newRow("no dot") << "/src/app/Makefile"
                            << "Makefile";
    QTest::newRow("dot only in a folder") << "/src/v1.2/README"
                                          << "README";
    QTest::newRow("plain name") << "imageprocessor.cpp"
                                << "imageprocessor";
    QTest::newRow("two extensions") << "logs/archive.tar.gz"
                                    << "archive.tar";
    QTest::newRow("hidden file") << "/home/u/.profile"
                                 << "";
    QTest::newRow("trailing dot") << "/tmp/name."
                                  << "name";
    QTest::newRow("trailing slash") << "/tmp/folder/"
                                    << "";
    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("root") << "/"
                          << "";
}

void TestLogCore::fileName()
{
    QFETCH(QString, file);
    QFETCH(QString, expected);

    const LogMessage message("m", 31, LogFlagInfo, 0, file.toStdString(), "f", 1);
    QCOMPARE(QString::fromStdString(message.fileName()), expected);
    QCOMPARE(QString::fromStdString(message.file()), file);
}

void TestLogCore::functionName_data()
{
    QTest::addColumn<QByteArray>("pretty");
    QTest::addColumn<QString>("expected");

    QTest::newRow("member") << QByteArray("bool ImageProcessor::loadData(const QString&)")
                            << "ImageProcessor::loadData";
    QTest::newRow("free function") << QByteArray("int main(int, char**)") << "main";
    QTest::newRow("no return type") << QByteArray("ns::X::X()") << "ns::X::X";
    QTest::newRow("destructor") << QByteArray("ns::X::~X()") << "ns::X::~X";
    QTest::newRow("template return type")
        << QByteArray("std::map<int, std::__cxx11::basic_string<char> > ns::X::f(int)") << "ns::X::f";
    QTest::newRow("function template")
        << QByteArray("std::vector<T> ns::X::g(T) [with T = double]") << "ns::X::g";
    QTest::newRow("class template") << QByteArray("void ns::Y<T>::h() const volatile [with T = int]")
                                    << "ns::Y<T>::h";
    QTest::newRow("qualifiers") << QByteArray("void ns::X::r() && noexcept") << "ns::X::r";
    QTest::newRow("anonymous namespace") << QByteArray("void {anonymous}::helper()") << "{anonymous}::helper";
    QTest::newRow("call operator") << QByteArray("void ns::X::operator()(int) const") << "ns::X::operator()";
    QTest::newRow("less operator") << QByteArray("bool ns::X::operator<(const ns::X&) const")
                                   << "ns::X::operator<";
    QTest::newRow("shift operator") << QByteArray("ns::X& ns::X::operator<<(int)") << "ns::X::operator<<";
    QTest::newRow("conversion") << QByteArray("ns::X::operator bool() const") << "ns::X::operator bool";
    QTest::newRow("lambda") << QByteArray("X::f(int)::<lambda()>") << "X::f";
    QTest::newRow("nested lambda") << QByteArray("ns::X::f(int)::<lambda()>::<lambda(int)>") << "ns::X::f";
    QTest::newRow("lambda in template") << QByteArray("ns::X::g<double>(double)::<lambda()>") << "ns::X::g";
    QTest::newRow("lambda in main") << QByteArray("main()::<lambda(int)>") << "main";
    QTest::newRow("function pointer parameter") << QByteArray("void run(void (*)(int), int)") << "run";
    QTest::newRow("not a signature") << QByteArray("garbage") << "garbage";
    QTest::newRow("empty") << QByteArray("") << "";
}

void TestLogCore::functionName()
{
    QFETCH(QByteArray, pretty);
    QFETCH(QString, expected);

    QCOMPARE(QString::fromStdString(Log::functionName(pretty.constData())), expected);
}

namespace {
template <typename T> std::string nameInsideTemplate(T)
{
    return Log::functionName(__PRETTY_FUNCTION__);
}
} // namespace

void TestLogCore::functionNameOfLiveStatements()
{
    QCOMPARE(Log::functionName(__PRETTY_FUNCTION__),
             std::string("TestLogCore::functionNameOfLiveStatements"));
    const auto inLambda = [](int) { return Log::functionName(__PRETTY_FUNCTION__); }(1);
    QCOMPARE(inLambda, std::string("TestLogCore::functionNameOfLiveStatements"));
    QCOMPARE(nameInsideTemplate(2.5), std::string("{anonymous}::nameInsideTemplate"));
    QCOMPARE(Log::functionName(nullptr), std::string());
}

void TestLogCore::flushLogWithoutFlushingLoggerReturns()
{
    // No loggers at all.
    auto bare = std::async(std::launch::async, [] { Log::flushLog(); });
    QVERIFY(bare.wait_for(5s) == std::future_status::ready);

    // A logger that does not answer flush must not be asked to: its flush() would hang.
    auto gate = std::make_shared<Gate>();
    auto logger = std::make_shared<FlushingLogger>(false);
    logger->onFlush = [gate] { gate->pass(); };
    Log::addLogger(logger);
    auto withLogger = std::async(std::launch::async, [] { Log::flushLog(); });
    const bool returned = withLogger.wait_for(5s) == std::future_status::ready;
    gate->openForGood();
    QVERIFY(returned);
    QCOMPARE(logger->flushCount.load(), 0);
}

void TestLogCore::flushLogWaitsForFlush()
{
    Signal callerReturned;
    auto slow = std::make_shared<FlushingLogger>(true);
    slow->onFlush = [&] { callerReturned.wait(150ms); };
    auto other = std::make_shared<FlushingLogger>(true);
    Log::addLogger(slow);
    Log::addLogger(other);

    Log::flushLog();
    const int slowAtReturn = slow->flushCount.load();
    const int otherAtReturn = other->flushCount.load();
    callerReturned.raise();

    QCOMPARE(slowAtReturn, 1);
    QCOMPARE(otherAtReturn, 1);
    QVERIFY(slow->flushOnOwnQueue.load());
}

void TestLogCore::flushesAtProcessExit()
{
    QProcess child;
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QString::fromLatin1(kExitChildVariable), QStringLiteral("1"));
    child.setProcessEnvironment(environment);
    child.start(QCoreApplication::applicationFilePath(), {});
    QVERIFY(child.waitForFinished(10000));
    QCOMPARE(child.exitCode(), 0);
    QCOMPARE(child.readAllStandardOutput(), QByteArray("bye 1|flushed\n"));
}

void TestLogCore::registration()
{
    Log::addLogger(nullptr);
    Log::addLogger(nullptr, LogLevelError);
    QVERIFY(Log::allLoggers().empty());

    auto a = std::make_shared<CountingLogger>("test.a");
    auto b = std::make_shared<CountingLogger>("test.b");
    auto c = std::make_shared<CountingLogger>("test.c");
    auto stranger = std::make_shared<CountingLogger>("test.stranger");
    Log::addLogger(a);
    Log::addLogger(b, LogLevelInfo);
    Log::addLogger(c);
    using List = std::vector<std::shared_ptr<Logger>>;
    QVERIFY(Log::allLoggers() == (List{a, b, c}));

    Log::removeLogger(stranger);
    Log::removeLogger(nullptr);
    QVERIFY(Log::allLoggers() == (List{a, b, c}));

    Log::removeLogger(b);
    post(true, LogFlagInfo, "after removal");
    QVERIFY(Log::allLoggers() == (List{a, c}));
    Log::flushLog();
    QCOMPARE(b->count(), std::size_t(0));
    QCOMPARE(a->count(), std::size_t(1));

    Log::removeAllLoggers();
    QVERIFY(Log::allLoggers().empty());
    // didAddLogger/willRemoveLogger run on each logger's own queue; a sync there waits for them.
    for (const auto& logger : {a, b, c, stranger})
        logger->loggerQueue()->sync([] {});
    QCOMPARE(a->didAddCount.load(), 1);
    QCOMPARE(a->willRemoveCount.load(), 1);
    QCOMPARE(b->willRemoveCount.load(), 1);
    QCOMPARE(c->willRemoveCount.load(), 1);
    QCOMPARE(stranger->didAddCount.load(), 0);
    QCOMPARE(stranger->willRemoveCount.load(), 0);
    QVERIFY(a->hooksOnOwnQueue.load() && b->hooksOnOwnQueue.load() && c->hooksOnOwnQueue.load());
}

void TestLogCore::consoleLine_data()
{
    QTest::addColumn<qint64>("msecsSinceEpoch");
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("stamp");

    const auto ms = [](LogMessage::Clock::time_point t) {
        return qint64(std::chrono::duration_cast<std::chrono::milliseconds>(t.time_since_epoch()).count());
    };
    QTest::newRow("ordinary") << ms(utcTime(2021, 3, 4, 5, 6, 7, 89)) << QByteArray("hello world")
                              << QByteArray("2021-03-04 05:06:07:089");
    QTest::newRow("epoch") << ms(utcTime(1970, 1, 1, 0, 0, 0, 0)) << QByteArray("start")
                           << QByteArray("1970-01-01 00:00:00:000");
    QTest::newRow("last millisecond of a year")
        << ms(utcTime(2099, 12, 31, 23, 59, 59, 999)) << QByteArray("late")
        << QByteArray("2099-12-31 23:59:59:999");
    QTest::newRow("empty message") << ms(utcTime(2024, 2, 29, 12, 0, 0, 500)) << QByteArray()
                                   << QByteArray("2024-02-29 12:00:00:500");
    QTest::newRow("percent signs pass untouched")
        << ms(utcTime(2024, 1, 1, 1, 1, 1, 1)) << QByteArray("%s %n 100%")
        << QByteArray("2024-01-01 01:01:01:001");
}

void TestLogCore::consoleLine()
{
    QFETCH(qint64, msecsSinceEpoch);
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, stamp);

    Pipe pipe;
    auto console = std::make_shared<ConsoleLogger>(pipe.writeEnd());
    Log::addLogger(console);
    LogMessage message(text.toStdString(), 31, LogFlagInfo, 0, __FILE__, "f", 1, nullptr, 0,
                       LogMessage::Clock::time_point(std::chrono::milliseconds(msecsSinceEpoch)));
    Log::log(true, message);
    Log::flushLog();

    const QByteArray expected = stamp + " logging_tst_logcore[" + QByteArray::number(::getpid()) + ":" +
                                QByteArray::fromStdString(ownThreadID().substr(0, 8)) + "] " + text + "\n";
    QCOMPARE(pipe.readAll(), expected);
}

void TestLogCore::consoleLineOfALiveStatement()
{
    Pipe pipe;
    auto console = std::make_shared<ConsoleLogger>(pipe.writeEnd());
    QCOMPARE(console->loggerName(), std::string("gludisko.ttyLogger"));
    QVERIFY(!console->colorsEnabled());
    Log::addLogger(console);
    std::thread([] { LOG_INFO("from thread %d", 2); }).join();
    LOG_ERROR("error %s", "line");

    const QRegularExpression line(QStringLiteral("^\\d{4}-\\d{2}-\\d{2} \\d{2}:\\d{2}:\\d{2}:\\d{3} "
                                                 "logging_tst_logcore\\[%1:(\\d{1,8})\\] (.*)$")
                                      .arg(::getpid()));
    const QList<QByteArray> lines = pipe.readAll().split('\n');
    QCOMPARE(lines.size(), 3);
    const auto first = line.match(QString::fromUtf8(lines[0]));
    const auto second = line.match(QString::fromUtf8(lines[1]));
    QVERIFY2(first.hasMatch(), lines[0].constData());
    QVERIFY2(second.hasMatch(), lines[1].constData());
    QCOMPARE(first.captured(2), QStringLiteral("from thread 2"));
    QCOMPARE(second.captured(2), QStringLiteral("error line"));
    QCOMPARE(second.captured(1), QString::fromStdString(ownThreadID().substr(0, 8)));
    QVERIFY(first.captured(1) != second.captured(1));
}

void TestLogCore::systemLoggerPriorities_data()
{
    QTest::addColumn<unsigned>("flag");
    QTest::addColumn<int>("priority");

    QTest::newRow("error is critical") << 1u << 2;
    QTest::newRow("warning is error") << 2u << 3;
    QTest::newRow("info is warning") << 4u << 4;
    QTest::newRow("debug is notice") << 8u << 5;
    QTest::newRow("verbose is notice") << 16u << 5;
    QTest::newRow("foreign flag is notice") << 32u << 5;
    QTest::newRow("two flags are no flag") << 3u << 5;
    QTest::newRow("no flag") << 0u << 5;
}

void TestLogCore::systemLoggerPriorities()
{
    QFETCH(unsigned, flag);
    QFETCH(int, priority);
    QCOMPARE(SystemLogger::priorityForFlag(flag), priority);
}

void TestLogCore::systemLoggerIsSingle()
{
    const auto one = SystemLogger::sharedInstance();
    QVERIFY(one);
    QCOMPARE(SystemLogger::sharedInstance(), one);
    QCOMPARE(one->loggerName(), std::string("gludisko.aslLogger"));
    QVERIFY(!std::is_constructible_v<SystemLogger>);
}

void TestLogCore::queueTimersFireInTimeOrderAndCancel()
{
    DispatchQueue queue("test.timers");
    std::mutex mutex;
    std::vector<std::string> fired;
    Signal last;
    auto record = [&](std::string name) {
        return [&, name] {
            std::lock_guard lock(mutex);
            fired.push_back(name);
            if (name == "late")
                last.raise();
        };
    };
    const auto now = DispatchQueue::Clock::now();
    queue.after(now + 60ms, record("late"));
    auto cancelled = queue.after(now + 30ms, record("cancelled"));
    queue.after(now + 20ms, record("early"));
    queue.after(now - 1s, record("past"));
    QVERIFY(cancelled.isValid());
    QVERIFY(!DispatchQueue::Timer().isValid());
    cancelled.cancel();
    DispatchQueue::Timer().cancel(); // harmless

    QVERIFY(last.wait(5s));
    std::lock_guard lock(mutex);
    QCOMPARE(fired, (std::vector<std::string>{"past", "early", "late"}));
}

void TestLogCore::queueSyncFromItselfRunsInline()
{
    DispatchQueue queue("test.inline");
    bool inner = false;
    bool wasCurrent = false;
    DispatchQueue* current = nullptr;
    auto done = std::async(std::launch::async, [&] {
        queue.sync([&] {
            current = DispatchQueue::current();
            queue.sync([&] { inner = true; }); // would deadlock if it waited for the queue
            wasCurrent = queue.isCurrent();
        });
    });
    QVERIFY(done.wait_for(5s) == std::future_status::ready);
    QVERIFY(inner);
    QVERIFY(wasCurrent);
    QCOMPARE(current, &queue);
    QVERIFY(!queue.isCurrent());
    QVERIFY(DispatchQueue::current() == nullptr);
}

void TestLogCore::queueDestructionRunsQueuedTasksAndDropsTimers()
{
    std::atomic<int> ran{0};
    std::atomic<bool> timerFired{false};
    {
        auto gate = std::make_shared<Gate>();
        DispatchQueue queue("test.teardown");
        queue.async([gate] { gate->pass(); });
        for (int i = 0; i < 100; ++i)
            queue.async([&] { ++ran; });
        queue.after(DispatchQueue::Clock::now() + 1h, [&] { timerFired = true; });
        gate->openForGood();
    } // a pending one-hour timer must not hold the destructor
    QCOMPARE(ran.load(), 100);
    QVERIFY(!timerFired.load());
}

void TestLogCore::queueDestroyedFromItsOwnTask()
{
    Signal destroyed;
    auto gate = std::make_shared<Gate>();
    auto queue = std::make_shared<DispatchQueue>("test.self");
    auto holder = std::make_shared<Holder>(&destroyed, queue);
    queue->async([holder, gate]() mutable {
        gate->pass();
        holder.reset();
    });
    holder.reset();
    queue.reset(); // the task now holds the last reference
    gate->openForGood();
    QVERIFY(destroyed.wait(5s));
}

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsSet(kExitChildVariable))
        return exitingChild();
    QCoreApplication app(argc, argv);
    TestLogCore test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}
#include "tst_logcore.moc"
