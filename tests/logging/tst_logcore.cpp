#include "common/testsupport.h"
#include "helper_countinglogger.h"
#include "logging/consolelogger.h"
#include "logging/dispatchqueue.h"
#include "logging/log.h"
#include "logging/systemlogger.h"

#include <QProcess>
#include <QScopeGuard>
#include <QTemporaryFile>
#include <QtTest>
#include <future>
#include <thread>
#include <unistd.h>

using namespace iconfoundry;

namespace {

// Posts through the full path (gate, formatting, queueing) with a flag of our choice.
void post(bool asynchronous, unsigned flag, const char* text)
{
    Log::log(asynchronous, kProgramLogLevel, flag, 0, __FILE__, "post", __LINE__, nullptr, "%s", text);
}

// Prefixes each message; drops those that contain dropWhenContains, if given.
class PrefixFormatter : public LogFormatter
{
public:
    explicit PrefixFormatter(std::string prefix, std::string dropWhenContains = {})
        : prefix_(std::move(prefix)), drop_(std::move(dropWhenContains))
    {
    }
    std::atomic<int> added{0}, removed{0};

    std::optional<std::string> formatLogMessage(const LogMessage& message) override
    {
        if (!drop_.empty() && message.message().find(drop_) != std::string::npos)
            return std::nullopt;
        return prefix_ + message.message();
    }
    void didAddToLogger(Logger&) override { ++added; }
    void willRemoveFromLogger(Logger&) override { ++removed; }

private:
    std::string prefix_, drop_;
};

std::string ownThreadID()
{
    return std::to_string(static_cast<long long>(gettid()));
}

constexpr char kExitChildVariable[] = "ICONFOUNDRY_LOGCORE_EXIT_CHILD";

// One statement of each level; the argument of each counts its evaluations and is listed.
struct Speaker
{
    static QStringList speak(int* evaluated)
    {
        QStringList made;
        auto count = [&](const char* text) {
            ++*evaluated;
            made << text;
            return text;
        };
        LOG_ERROR("%s", count("error"));
        LOG_WARN("%s", count("warning"));
        LOG_INFO("%s", count("info"));
        LOG_DEBUG("%s", count("debug"));
        LOG_VERBOSE("%s", count("verbose"));
        return made;
    }
};

// Classes with a level of their own, and one without.
class Registered
{
    LOG_REGISTER_CLASS(Registered);

public:
    static void speak()
    {
        LOG_INFO("Registered info");
        LOG_ERROR("Registered error");
    }
};

class AlsoRegistered
{
    LOG_REGISTER_CLASS(AlsoRegistered);

public:
    static void speak()
    {
        // Inside a lambda the class's level still applies.
        [] { LOG_INFO("AlsoRegistered info"); }();
    }
};

class Unregistered
{
public:
    static void speak() { LOG_INFO("Unregistered info"); }
};

// A logger that is no AbstractLogger: the dispatcher makes its queue.
class BareLogger : public Logger
{
public:
    std::string queueLabel;
    void logMessage(const LogMessage&) override
    {
        if (const DispatchQueue* queue = DispatchQueue::current())
            queueLabel = queue->label();
    }
};

} // namespace

class TestLogCore : public QObject
{
    Q_OBJECT

private slots:
    void cleanup()
    {
        Log::removeAllLoggers();
        Log::flushLog();
        QVERIFY(Log::allLoggers().empty());
    }

    void levelGates_data()
    {
        QTest::addColumn<std::optional<unsigned>>("level");
        QTest::addColumn<QList<unsigned>>("expected");

        using Level = std::optional<unsigned>;
        QTest::newRow("error level gets errors only") << Level(1) << QList<unsigned>{1};
        QTest::newRow("verbose level: no foreign flags") << Level(31) << QList<unsigned>{1, 2, 4, 8, 16};
        QTest::newRow("off") << Level(0) << QList<unsigned>{};
        QTest::newRow("top bit") << Level(1u << 31) << QList<unsigned>{1u << 31};
        QTest::newRow("added without level gets every flag")
            << Level() << QList<unsigned>{1, 2, 4, 8, 16, 32, 1u << 31};
    }

    void levelGates()
    {
        QFETCH(std::optional<unsigned>, level);
        QFETCH(QList<unsigned>, expected);

        auto logger = addCountingLogger("test.counting", level);
        for (unsigned flag : {1u, 2u, 4u, 8u, 16u, 32u, 1u << 31})
            post(true, flag, "gate");
        Log::flushLog(); // every earlier message has been delivered when this returns
        QList<unsigned> received;
        for (const LogMessage& m : logger->messages())
            received << m.flag();
        QCOMPARE(received, expected);
    }

    void statementsCaptureTheirSource()
    {
        auto logger = addCountingLogger();
        const unsigned infoLine = __LINE__ + 1;
        LOG_INFO("value %d of %s", 7, "seven");
        [] { LOG_ERROR("inside a lambda"); }();
        DispatchQueue queue("test.labelled");
        queue.sync([] { LOG_VERBOSE("on a queue"); });
        Log::flushLog();

        const auto m = logger->messages();
        QCOMPARE(m.size(), std::size_t(3));
        QCOMPARE(m[0].message(), std::string("value 7 of seven"));
        QCOMPARE(m[0].line(), infoLine);
        QCOMPARE(m[0].fileName(), std::string("tst_logcore"));
        QCOMPARE(m[0].threadID() + m[0].queueLabel(), ownThreadID());
        const std::string function = "TestLogCore::statementsCaptureTheirSource";
        QCOMPARE(m[0].function(), function);
        QCOMPARE(m[1].function(), function); // a lambda is named after the function holding it
        QCOMPARE((QList<unsigned>{m[0].flag(), m[1].flag(), m[2].flag()}), (QList<unsigned>{4, 1, 16}));
        QCOMPARE(m[2].queueLabel(), std::string("test.labelled"));
        QVERIFY(m[2].threadID() != ownThreadID());
        QCOMPARE(Log::functionName(nullptr), std::string());
    }

    void formatting_data()
    {
        QTest::addColumn<QByteArray>("format"); // null: no format at all
        QTest::addColumn<QByteArray>("argument");
        QTest::addColumn<QByteArray>("expected"); // null: nothing logged

        QTest::newRow("conversions in the argument stay text")
            << QByteArray("%s") << QByteArray("100% %n %s") << QByteArray("100% %n %s");
        QTest::newRow("precision") << QByteArray("<%.3s>") << QByteArray("abcdef") << QByteArray("<abc>");
        // 511 characters and the terminator fill a 512-byte buffer exactly; 512 need a bigger one.
        QTest::newRow("511 characters") << QByteArray("%s") << QByteArray(511, 'a') << QByteArray(511, 'a');
        QTest::newRow("512 characters") << QByteArray("%s") << QByteArray(512, 'b') << QByteArray(512, 'b');
        QTest::newRow("utf-8 and control characters")
            << QByteArray("%s") << QByteArray("gr\xc3\xbc\xc3\x9f\t\x01\n")
            << QByteArray("gr\xc3\xbc\xc3\x9f\t\x01\n");
        QTest::newRow("null format") << QByteArray() << QByteArray("x") << QByteArray();
    }

    void formatting()
    {
        QFETCH(QByteArray, format);
        QFETCH(QByteArray, argument);
        QFETCH(QByteArray, expected);

        auto logger = addCountingLogger();
        // No file and no function either: the record takes empty ones.
        Log::log(false, 31, LogFlagError, 0, nullptr, nullptr, 1, nullptr,
                 format.isNull() ? nullptr : format.constData(), argument.constData());
        Log::flushLog();
        QStringList got;
        for (const LogMessage& m : logger->messages())
            got << QString::fromStdString(m.message() + m.file() + m.function());
        QCOMPARE(got, expected.isNull() ? QStringList() : QStringList{QString::fromUtf8(expected)});
    }

    void orderPerProducerIsKept()
    {
        constexpr int producers = 4;
        constexpr int perProducer = 400; // 1600 in all: more than the in-flight bound
        auto first = addCountingLogger("test.first");
        auto second = addCountingLogger("test.second");
        {
            std::vector<std::jthread> threads;
            for (int p = 0; p < producers; ++p)
                threads.emplace_back([p] {
                    for (int i = 0; i < perProducer; ++i)
                        LOG_INFO("%d %d", p, i);
                });
        } // joined here
        Log::flushLog();

        const QStringList a = first->texts();
        QCOMPARE(a.size(), producers * perProducer);
        QCOMPARE(second->texts(), a); // both loggers see the one order of the logging queue
        int next[producers] = {};
        for (const QString& text : a) {
            const int p = text.section(' ', 0, 0).toInt(), i = text.section(' ', 1).toInt();
            QVERIFY(p >= 0 && p < producers);
            QCOMPARE(i, next[p]++);
        }
    }

    void callerWaitsOnlyWhereItMust_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<bool>("buffering");
        QTest::addColumn<int>("doneAtReturn"); // by the slow logger: messages written and flushes
        QTest::newRow("error statement waits for every logger") << "error" << false << 1;
        QTest::newRow("info statement returns at once") << "info" << false << 0;
        QTest::newRow("flushLog waits for a buffering logger") << "flush" << true << 1;
        QTest::newRow("flushLog does not ask a logger that does not buffer") << "flush" << false << 0;
    }

    void callerWaitsOnlyWhereItMust()
    {
        QFETCH(QString, call);
        QFETCH(bool, buffering);
        QFETCH(int, doneAtReturn);
        // The slow logger's hooks last until the caller has returned, or a timeout: short where the
        // caller must wait for them, long where a waiting caller would be caught.
        auto callerReturned = std::make_shared<Gate>();
        const auto timeout = doneAtReturn ? 150ms : 10s;
        auto slow = addCountingLogger("test.slow", std::nullopt, buffering);
        slow->beforeRecording = [=](const LogMessage&) { callerReturned->pass(timeout); };
        slow->onFlush = [=] { callerReturned->pass(timeout); };
        auto other = addCountingLogger("test.other", std::nullopt, true);
        auto errorsOnly = addCountingLogger("test.errors", LogLevelError);

        if (call == "error")
            LOG_ERROR("must be written before returning: %d", 1);
        else if (call == "info")
            LOG_INFO("may be written later: %d", 1);
        else
            Log::flushLog();
        const int slowAtReturn = int(slow->count()) + slow->flushes;
        const int othersAtReturn = int(other->count() + errorsOnly->count()) + other->flushes;
        callerReturned->openForGood();
        QCOMPARE(slowAtReturn, doneAtReturn);
        if (doneAtReturn)
            QCOMPARE(othersAtReturn, call == "error" ? 2 : 1);
        QVERIFY(slow->hooksOnOwnQueue);
    }

    void statementsOnALoggersQueueNeverWait_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<QStringList>("lastTexts"); // what the logger writes after the filler

        QTest::newRow("error statement, synchronous elsewhere") << "error" << QStringList{"filler", "own"};
        QTest::newRow("info statement") << "info" << QStringList{"filler", "own"};
        QTest::newRow("flushLog") << "flush" << QStringList{"filler", "filler"};
    }

    void statementsOnALoggersQueueNeverWait()
    {
        QFETCH(QString, call);
        QFETCH(QStringList, lastTexts);

        // The first message is held inside the logger until 999 more are queued behind it: then
        // all 1000 places of the in-flight bound are taken and none can be freed until the logger
        // returns. Only then does the logger make its statement.
        auto boundFull = std::make_shared<Gate>();
        auto statementReturned = std::make_shared<Gate>();
        auto logger = addCountingLogger("test.own");
        logger->beforeRecording = [=](const LogMessage& message) {
            if (message.message() != "first" || !boundFull->pass())
                return;
            if (call == "error")
                LOG_ERROR("own");
            else if (call == "info")
                LOG_INFO("own");
            else
                Log::flushLog();
            statementReturned->open();
        };
        post(true, LogFlagInfo, "first");
        for (int i = 1; i < 1000; ++i)
            post(true, LogFlagInfo, "filler");
        boundFull->open();
        QVERIFY(statementReturned->pass(20s));

        Log::flushLog();
        const QStringList texts = logger->texts();
        QCOMPARE(texts.size(), call == "flush" ? 1000 : 1001);
        QCOMPARE(texts.front(), QString("first"));
        QCOMPARE(texts.mid(texts.size() - 2), lastTexts);
    }

    void unadmittedStatementsAreNotFormatted_data()
    {
        QTest::addColumn<QList<unsigned>>("levels"); // of the loggers added
        QTest::addColumn<bool>("removeThemAgain");
        QTest::addColumn<QStringList>("formatted");

        const QStringList all{"error", "warning", "info", "debug", "verbose"};
        QTest::newRow("no logger") << QList<unsigned>{} << false << QStringList{};
        QTest::newRow("one logger for errors") << QList<unsigned>{1} << false << QStringList{"error"};
        QTest::newRow("errors and a flag outside the five")
            << QList<unsigned>{1, 32} << false << QStringList{"error"};
        QTest::newRow("info and debug only")
            << QList<unsigned>{4, 8} << false << QStringList{"info", "debug"};
        QTest::newRow("every level") << QList<unsigned>{~0u} << false << all;
        QTest::newRow("loggers removed again") << QList<unsigned>{~0u, 1} << true << QStringList{};
    }

    void unadmittedStatementsAreNotFormatted()
    {
        QFETCH(QList<unsigned>, levels);
        QFETCH(bool, removeThemAgain);
        QFETCH(QStringList, formatted);

        std::vector<std::shared_ptr<CountingLogger>> loggers;
        for (unsigned level : levels)
            loggers.push_back(addCountingLogger("test.gate", level));
        if (removeThemAgain) {
            for (const auto& logger : loggers)
                Log::removeLogger(logger);
            QVERIFY(Log::allLoggers().empty()); // ordered after the removals
        }
        int evaluated = 0;
        QCOMPARE(Speaker::speak(&evaluated), formatted);
        QCOMPARE(evaluated, int(formatted.size()));
    }

    void classLevels_data()
    {
        QTest::addColumn<QString>("how"); // "class" or "name"
        QTest::addColumn<QString>("target");
        QTest::addColumn<unsigned>("level");
        QTest::addColumn<QList<unsigned>>("levelsAfter"); // Registered, AlsoRegistered, Unregistered
        QTest::addColumn<QStringList>("written");

        const unsigned all = 4294967295u;
        const QStringList everything{"Registered info", "Registered error", "AlsoRegistered info",
                                     "Unregistered info"};
        QTest::newRow("nothing set") << "name"
                                     << "" << 0u << QList<unsigned>{31, 31, all} << everything;
        QTest::newRow("errors only, by class")
            << "class"
            << "Registered" << 1u << QList<unsigned>{1, 31, all}
            << QStringList{"Registered error", "AlsoRegistered info", "Unregistered info"};
        QTest::newRow("off, by name")
            << "name"
            << "AlsoRegistered" << 0u << QList<unsigned>{31, 0, all}
            << QStringList{"Registered info", "Registered error", "Unregistered info"};
        QTest::newRow("unregistered class, by class")
            << "class"
            << "Unregistered" << 0u << QList<unsigned>{31, 31, all} << everything;
        QTest::newRow("unregistered class, by name")
            << "name"
            << "Unregistered" << 0u << QList<unsigned>{31, 31, all} << everything;
        QTest::newRow("a name that is only nearly registered")
            << "name"
            << "registered" << 0u << QList<unsigned>{31, 31, all} << everything;
    }

    void classLevels()
    {
        QFETCH(QString, how);
        QFETCH(QString, target);
        QFETCH(unsigned, level);
        QFETCH(QList<unsigned>, levelsAfter);
        QFETCH(QStringList, written);

        const auto restore = qScopeGuard([] {
            Registered::setLogLevel(31);
            AlsoRegistered::setLogLevel(31);
        });
        QVERIFY(Log::isRegisteredClass<Registered>() && Log::isRegisteredClass<AlsoRegistered>());
        QVERIFY(!Log::isRegisteredClass<Unregistered>());
        QCOMPARE(Log::registeredClassNames(), (std::vector<std::string>{"AlsoRegistered", "Registered"}));
        const auto classes = Log::registeredClasses();
        QCOMPARE(classes.size(), std::size_t(2));
        QVERIFY(classes[1].logLevel == &Registered::logLevel &&
                classes[1].setLogLevel == &Registered::setLogLevel);

        if (how == "name" && !target.isEmpty()) {
            Log::setLevelForClassWithName(target.toStdString(), level);
        } else if (how == "class") {
            if (target == "Registered")
                Log::setLevelForClass<Registered>(level);
            else
                Log::setLevelForClass<Unregistered>(level);
        }
        QCOMPARE((QList<unsigned>{Log::levelForClass<Registered>(), Log::levelForClass<AlsoRegistered>(),
                                  Log::levelForClass<Unregistered>()}),
                 levelsAfter);
        QCOMPARE((QList<unsigned>{Log::levelForClassWithName("Registered"),
                                  Log::levelForClassWithName("AlsoRegistered"),
                                  Log::levelForClassWithName("Unregistered")}),
                 levelsAfter);

        auto logger = addCountingLogger();
        Registered::speak();
        AlsoRegistered::speak();
        Unregistered::speak();
        Log::flushLog();
        QCOMPARE(logger->texts(), written);
        for (const LogMessage& message : logger->messages()) {
            // The record carries the level the statement was made at.
            const unsigned expected =
                QString::fromStdString(message.message()).startsWith("AlsoRegistered") ? levelsAfter[1]
                : QString::fromStdString(message.message()).startsWith("Registered")   ? levelsAfter[0]
                                                                                       : 31u;
            QCOMPARE(message.level(), expected);
        }
    }

    void loggerNamesAndQueues_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("name");

        QTest::newRow("the base class") << "abstract"
                                        << "AbstractLogger";
        QTest::newRow("a subclass without a name of its own") << "unnamed"
                                                              << "CountingLogger";
        QTest::newRow("a subclass named at construction") << "named"
                                                          << "test.named";
        QTest::newRow("the console logger") << "console"
                                            << "gludisko.ttyLogger";
        QTest::newRow("a logger that brings no queue, named with its namespace")
            << "bare"
            << "(anonymous namespace)::BareLogger";
    }

    void loggerNamesAndQueues()
    {
        QFETCH(QString, kind);
        QFETCH(QString, name);

        std::shared_ptr<Logger> logger;
        if (kind == "abstract")
            logger = std::make_shared<AbstractLogger>();
        else if (kind == "unnamed")
            logger = std::make_shared<CountingLogger>("");
        else if (kind == "named")
            logger = std::make_shared<CountingLogger>("test.named");
        else if (kind == "console")
            logger = std::make_shared<ConsoleLogger>(-1);
        else
            logger = std::make_shared<BareLogger>();
        QCOMPARE(QString::fromStdString(logger->loggerName()), name);
        if (auto* bare = dynamic_cast<BareLogger*>(logger.get())) {
            QVERIFY(!logger->loggerQueue());
            Log::addLogger(logger);
            post(false, LogFlagError, "which queue");
            QCOMPARE(QString::fromStdString(bare->queueLabel), name);
        } else {
            QCOMPARE(QString::fromStdString(logger->loggerQueue()->label()), name);
            QVERIFY(logger->loggerQueue()->isLoggingQueue());
        }
    }

    void loggerQueueCanBeReplacedBeforeAdding()
    {
        auto queue = std::make_shared<DispatchQueue>("test.replaced");
        auto logger = std::make_shared<CountingLogger>("test.counting");
        std::string ranOn;
        logger->beforeRecording = [&](const LogMessage&) { ranOn = DispatchQueue::current()->label(); };
        logger->setLoggerQueue(queue);
        logger->setLoggerQueue(nullptr); // ignored
        QVERIFY(logger->loggerQueue() == queue);
        QVERIFY(queue->isLoggingQueue());
        Log::addLogger(logger);
        post(false, LogFlagError, "on the replaced queue");
        QCOMPARE(ranOn, std::string("test.replaced"));
        QVERIFY(logger->hooksOnOwnQueue);
    }

    void inFlightBoundBlocksThe1001stMessage()
    {
        constexpr int total = 1002;
        auto gate = std::make_shared<Gate>();
        auto logger = addCountingLogger();
        logger->beforeRecording = [gate](const LogMessage&) { gate->pass(); };
        Log::flushLog();

        std::mutex mutex;
        std::condition_variable changed;
        int returned = 0;
        auto returnedMoreThan = [&](int n, std::chrono::milliseconds timeout) {
            std::unique_lock lock(mutex);
            return changed.wait_for(lock, timeout, [&] { return returned > n; });
        };
        std::thread producer([&] {
            for (int i = 0; i < total; ++i) {
                post(true, LogFlagInfo, "bounded");
                std::lock_guard lock(mutex);
                ++returned;
                changed.notify_all();
            }
        });
        // Whatever fails below, the producer must not be left blocked behind a closed gate.
        const auto release = qScopeGuard([&] {
            gate->openForGood();
            producer.join();
        });

        // The first message is held inside the logger; 999 more wait on the logging queue.
        QVERIFY(returnedMoreThan(999, 10s));
        QVERIFY(!returnedMoreThan(1000, 200ms));
        QCOMPARE(logger->entered.load(), 1);
        gate->open(1); // one delivery frees exactly one place
        QVERIFY(returnedMoreThan(1000, 10s));
        QVERIFY(!returnedMoreThan(1001, 100ms));
        gate->openForGood();
        QTRY_COMPARE_WITH_TIMEOUT(logger->count(), std::size_t(total), 10000);
    }

    void formattersActPerLoggerInMessageOrder()
    {
        QTemporaryFile output;
        QVERIFY(output.open());
        auto console = std::make_shared<ConsoleLogger>(output.handle());
        auto one = std::make_shared<PrefixFormatter>("1: ", "secret");
        auto two = std::make_shared<PrefixFormatter>("2: ");
        console->setLogFormatter(one);
        Log::addLogger(console);
        auto plain = addCountingLogger();

        post(true, LogFlagInfo, "public one");
        post(false, LogFlagError, "a secret"); // dropped for the console only
        console->setLogFormatter(one);         // the same object again: no hooks
        post(true, LogFlagInfo, "public two");
        console->setLogFormatter(two); // lands between two messages
        post(true, LogFlagInfo, "three");
        Log::flushLog();

        QVERIFY(output.seek(0));
        QCOMPARE(output.readAll(), QByteArray("1: public one\n1: public two\n2: three\n"));
        QCOMPARE(plain->texts(), (QStringList{"public one", "a secret", "public two", "three"}));
        QCOMPARE((QList<int>{one->added, one->removed, two->added, two->removed}), (QList<int>{1, 1, 1, 0}));
    }

    void derivedNames_data()
    {
        QTest::addColumn<bool>("isFile"); // LogMessage::fileName(), else Log::functionName()
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("expected");
        // "source -> expected name"
        for (const char* row :
             {"/src/app/My.File.m -> My.File", "/src/v1.2/README -> README",
              "logs/archive.tar.gz -> archive.tar", "imageprocessor.cpp -> imageprocessor",
              "/home/u/.profile -> ", "/tmp/name. -> name", "/tmp/folder/ -> ", " -> ", "/ -> "})
            QTest::addRow("file %s", row)
                << true << QString(row).section(" -> ", 0, 0) << QString(row).section(" -> ", 1);
        for (const char* row : {"bool ImageProcessor::loadData(const QString&) -> ImageProcessor::loadData",
                                "std::map<int, std::__cxx11::basic_string<char> > ns::X::f(int) -> ns::X::f",
                                "std::vector<T> ns::X::g(T) [with T = double] -> ns::X::g",
                                "void ns::Y<T>::h() const volatile [with T = int] -> ns::Y<T>::h",
                                "void {anonymous}::helper() -> {anonymous}::helper",
                                "void ns::X::operator()(int) const -> ns::X::operator()",
                                "bool ns::X::operator<(const ns::X&) const -> ns::X::operator<",
                                "ns::X::operator bool() const -> ns::X::operator bool",
                                "ns::X::f(int)::<lambda()>::<lambda(int)> -> ns::X::f",
                                "void run(void (*)(int), int) -> run", "garbage -> garbage", " -> "})
            QTest::addRow("function %s", row)
                << false << QString(row).section(" -> ", 0, 0) << QString(row).section(" -> ", 1);
    }

    void derivedNames()
    {
        QFETCH(bool, isFile);
        QFETCH(QString, source);
        QFETCH(QString, expected);
        const std::string text = source.toStdString();
        QCOMPARE(QString::fromStdString(isFile ? LogMessage("m", 31, LogFlagInfo, 0, text, "f", 1).fileName()
                                               : Log::functionName(text.c_str())),
                 expected);
    }

    void flushesAtProcessExit()
    {
        QProcess child;
        {
            // Inherited by the child, which it makes the exiting one.
            const test::ScopedEnvironmentVariable asChild(kExitChildVariable, QByteArray("1"));
            child.start(QCoreApplication::applicationFilePath(), {});
        }
        QVERIFY(child.waitForFinished(10000));
        QCOMPARE(child.exitCode(), 0);
        QCOMPARE(child.readAllStandardOutput(), QByteArray("bye 1|flushed\n"));
    }

    void registration()
    {
        Log::addLogger(nullptr);
        Log::addLogger(nullptr, LogLevelError);
        auto a = addCountingLogger("test.a");
        auto b = addCountingLogger("test.b", LogLevelInfo);
        auto c = addCountingLogger("test.c");
        auto stranger = std::make_shared<CountingLogger>("test.stranger");
        Log::removeLogger(stranger);
        Log::removeLogger(nullptr);
        Log::removeLogger(b);
        post(true, LogFlagInfo, "after removal");
        QVERIFY(Log::allLoggers() == (std::vector<std::shared_ptr<Logger>>{a, c}));
        Log::flushLog();
        QCOMPARE((QList<std::size_t>{a->count(), b->count()}), (QList<std::size_t>{1, 0}));

        Log::removeAllLoggers();
        QVERIFY(Log::allLoggers().empty());
        // The add and remove hooks run on each logger's own queue; a sync there waits for them.
        QList<int> hooks;
        for (const auto& logger : {a, b, c, stranger}) {
            logger->loggerQueue()->sync([] {});
            hooks << logger->added << logger->removed;
            QVERIFY(logger->hooksOnOwnQueue);
        }
        QCOMPARE(hooks, (QList<int>{1, 1, 1, 1, 1, 1, 0, 0}));
    }

    void consoleLine_data()
    {
        QTest::addColumn<qint64>("msecsSinceEpoch");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("stamp");

        QTest::newRow("epoch, empty") << qint64(0) << QByteArray() << QByteArray("1970-01-01 00:00:00:000");
        QTest::newRow("last millisecond of a year, percent signs")
            << qint64(4102444799999) << QByteArray("%s %n 100%") << QByteArray("2099-12-31 23:59:59:999");
    }

    void consoleLine()
    {
        QFETCH(qint64, msecsSinceEpoch);
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, stamp);

        const test::ScopedEnvironmentVariable utc("TZ", QByteArray("UTC")); // console lines are in local time
        QTemporaryFile output;
        QVERIFY(output.open());
        Log::addLogger(std::make_shared<ConsoleLogger>(output.handle()));
        // Made here, written on the logger's thread: the line names the thread that made it.
        Log::log(true, LogMessage(text.toStdString(), 31, LogFlagInfo, 0, __FILE__, "f", 1, nullptr, 0,
                                  LogMessage::Clock::time_point(std::chrono::milliseconds(msecsSinceEpoch))));
        Log::flushLog();
        QVERIFY(output.seek(0));
        QCOMPARE(output.readAll(), stamp + " logging_tst_logcore[" + QByteArray::number(::getpid()) + ":" +
                                       QByteArray::fromStdString(ownThreadID().substr(0, 8)) + "] " + text +
                                       "\n");
    }

    void systemLoggerPriorities_data()
    {
        QTest::addColumn<unsigned>("flag");
        QTest::addColumn<int>("priority");

        QTest::newRow("error is critical") << 1u << 2;
        QTest::newRow("warning is error") << 2u << 3;
        QTest::newRow("info is warning") << 4u << 4;
        QTest::newRow("debug is notice") << 8u << 5;
        QTest::newRow("foreign flag is notice") << 32u << 5;
        QTest::newRow("two flags are no flag") << 3u << 5;
    }

    void systemLoggerPriorities()
    {
        QFETCH(unsigned, flag);
        QFETCH(int, priority);
        QCOMPARE(SystemLogger::priorityForFlag(flag), priority);
    }

    void queueRunsTimersInOrderSyncsInlineAndDropsTimersOnDestruction()
    {
        std::vector<std::string> ran; // touched on the queue only, read once it is gone
        bool innerWasCurrent = false;
        {
            auto gate = std::make_shared<Gate>();
            DispatchQueue queue("test.queue");
            const auto now = DispatchQueue::Clock::now();
            queue.after(now + 60ms, [&] { ran.push_back("late"); });
            queue.after(now + 30ms, [&] { ran.push_back("cancelled"); }).cancel();
            queue.after(now + 20ms, [&] { ran.push_back("early"); });
            queue.after(now - 1s, [&] { ran.push_back("past"); });
            queue.after(now + 1h, [&] { ran.push_back("an hour later"); }); // must not hold the destructor
            DispatchQueue::Timer().cancel();                                // harmless
            const auto timersRan = [&] {
                std::size_t count = 0;
                queue.sync([&] { count = ran.size(); });
                return count;
            };
            QTRY_COMPARE_WITH_TIMEOUT(timersRan(), std::size_t(3), 5000);
            // From the queue itself, sync runs inline: waiting would deadlock.
            queue.sync([&] {
                queue.sync(
                    [&] { innerWasCurrent = queue.isCurrent() && DispatchQueue::current() == &queue; });
            });
            QVERIFY(!queue.isCurrent() && DispatchQueue::current() == nullptr);
            // Tasks still queued at destruction run first.
            queue.async([gate] { gate->pass(); });
            for (int i = 0; i < 100; ++i)
                queue.async([&] { ran.push_back("queued"); });
            gate->openForGood();
        }
        QVERIFY(innerWasCurrent);
        QCOMPARE(ran.size(), std::size_t(103));
        ran.resize(3);
        QCOMPARE(ran, (std::vector<std::string>{"past", "early", "late"}));
    }

    void queueDestroyedFromItsOwnTask()
    {
        // The task takes the last reference along, so the queue is destroyed on its own thread; the
        // deleter opens the gate once the destructor is done.
        auto destroyed = std::make_shared<Gate>();
        auto gate = std::make_shared<Gate>();
        std::shared_ptr<DispatchQueue> queue(new DispatchQueue("test.self"), [destroyed](DispatchQueue* q) {
            delete q;
            destroyed->openForGood();
        });
        queue->async([queue, gate]() mutable {
            gate->pass();
            queue.reset();
        });
        queue.reset();
        gate->openForGood();
        QVERIFY(destroyed->pass(5s));
    }
};

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsSet(kExitChildVariable)) {
        // The child of flushesAtProcessExit: logs to a buffering logger and leaves main() unflushed.
        auto logger = addCountingLogger("test.exit", std::nullopt, true);
        logger->onFlush = [raw = logger.get()] {
            const std::string text = raw->messages().at(0).message() + "|flushed\n";
            [[maybe_unused]] const ssize_t written = ::write(STDOUT_FILENO, text.data(), text.size());
        };
        LOG_INFO("bye %d", 1);
        return 0;
    }
    QCoreApplication app(argc, argv);
    TestLogCore test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}
#include "tst_logcore.moc"
