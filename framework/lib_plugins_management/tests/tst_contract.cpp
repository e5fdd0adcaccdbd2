#include "tests/support/fake_order.h"

#include <lib_plugins_management/d_abstract_command.h>
#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/variant_conversion.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QPoint>
#include <QPointer>
#include <QRegularExpression>
#include <QSharedPointer>
#include <QSignalSpy>
#include <QTest>
#include <QUuid>

#include <cstring>
#include <limits>
#include <memory>

namespace {

// Where the Itanium C++ ABI says what a pointer to a virtual member function is: 1 + the offset of
// its entry in the table.
#if defined(__x86_64__) && !defined(_MSC_VER)
constexpr bool c_slotsAreKnown = true;
#else
constexpr bool c_slotsAreKnown = false;
#endif

// The index of a virtual member function in its class's table; -1 when it is none.
template <class Member>
int slotOf(Member member)
{
    std::uintptr_t code = 0;
    std::memcpy(&code, &member, sizeof code);
    return code % 2 == 1 ? static_cast<int>((code - 1) / sizeof(void*)) : -1;
}

// metaObject, qt_metacast, qt_metacall, two destructors, event, eventFilter, timerEvent,
// childEvent, customEvent, connectNotify, disconnectNotify.
constexpr int c_slotsOfQObject = 12;
// The two destructors that a virtual destructor becomes.
constexpr int c_slotsOfADestructor = 2;

struct Sample
{
    virtual ~Sample() = default;
    virtual int first() { return 1; }
    virtual int second() { return 2; }
    int plain() { return 3; }
};

using PropertyFound = QVariant (DAbstractPlugin::*)(const QString&, bool*) const;
using PropertyDefault = QVariant (DAbstractPlugin::*)(const QString&, const QVariant&) const;
using InterfacePropertyFound = QVariant (IPlugin::*)(const QString&, bool*) const;
using InterfacePropertyDefault = QVariant (IPlugin::*)(const QString&, const QVariant&) const;

class Command : public DAbstractCommand
{
    Q_OBJECT

public:
    explicit Command(const QVariantMap& arguments = {}, QObject* parent = nullptr,
                     const QString& name = QStringLiteral("command"))
        : DAbstractCommand(name, arguments, parent)
    {}

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override
    {
        return QSharedPointer<Command>(new Command(arguments, parent()));
    }
    bool onReply(quint64 id, const QVariantMap& reply)
    {
        lastId = id;
        lastReply = reply;
        return verdict;
    }

    quint64 lastId = 0;
    QVariantMap lastReply;
    bool verdict = true;
};

// Declares what its arguments say.
class VaryingCommand : public DAbstractCommand
{
    Q_OBJECT

public:
    explicit VaryingCommand(const QVariantMap& arguments, QObject* parent)
        : DAbstractCommand(QStringLiteral("varying"), arguments, parent)
    {
        const QVariant given = arguments.value("default", 1);
        declareAParameter("first", arguments.value("type", "int").toString(), "First", given);
        declareAParameter("second", "strg", "Second");
        for (const QString& result : arguments.value("results", QStringList{"a", "b"}).toStringList())
            declareAResult(result, "vart", "Result");
    }

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override
    {
        return QSharedPointer<VaryingCommand>(new VaryingCommand(arguments, parent()));
    }
};

class Plugin : public DAbstractPlugin
{
    Q_OBJECT

public:
    explicit Plugin(const QUuid& objectUuid = QUuid("{55555555-0000-0000-0000-000000000001}"))
        : DAbstractPlugin(QUuid("{55555555-0000-0000-0000-000000000002}"), "Kind", CeTypeDevice,
                          Q_UINT64_C(0x0001000200000000), objectUuid, nullptr, false)
    {}

    void initPluginCommands() override { initAbstractCommands(); }
    IPlugin* createInstance(const QUuid& objectUuid) const override { return new Plugin(objectUuid); }
    QString pluginSubTypeName() const override { return {}; }
};

// What delegates are bound to.
struct FirstBase
{
    virtual ~FirstBase() = default;
    qint64 padding = 1;
};

struct SecondBase
{
    virtual ~SecondBase() = default;
    virtual bool whoAmI(quint64, const QVariantMap&) { return false; }
    bool ownMember(quint64 id, const QVariantMap& map)
    {
        lastId = id;
        lastMap = map;
        return own == 2;
    }
    qint64 own = 2;
    quint64 lastId = 0;
    QVariantMap lastMap;
};

struct Derived : FirstBase, SecondBase
{
    bool whoAmI(quint64 id, const QVariantMap&) override
    {
        lastId = id;
        return true;
    }
    bool constMember(quint64 id, const QVariantMap&) const { return id == 5 && padding == 1; }
    bool error(quint64 id, IMessenger::EnErrorCode code, const QVariantMap& map)
    {
        lastId = id;
        lastMap = map;
        return code == IMessenger::CeEcTimeout;
    }
};

using Delegate2 = FastDelegate2<quint64, const QVariantMap&, bool>;
using Delegate3 = FastDelegate3<quint64, IMessenger::EnErrorCode, const QVariantMap&, bool>;

} // namespace

class tst_Contract : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void slotsAreMeasured();
    void slotsOfIPlugin();
    void slotsOfDAbstractPlugin();
    void slotsOfICommand();
    void slotsOfDAbstractCommand();
    void typeCodes();

    void delegateEmpty();
    void delegateMembers();
    void delegateCopy();
    void delegateThreeArguments();

    void convert_data();
    void convert();
    void convertToDeclared_data();
    void convertToDeclared();

    void parameterValue_data();
    void parameterValue();
    void parameterById_data();
    void parameterById();
    void infoFromChannel_data();
    void infoFromChannel();
    void infoFollowsTheConfiguration();
    void withoutPlugin();
    void resultVariableNames();
    void declarationRefusals_data();
    void declarationRefusals();
    void descriptions();
    void clonesDeclareForThemselves_data();
    void clonesDeclareForThemselves();
    void publishing();
    void withoutOrder();
    void replies();
    void finishing();
    void failing();

    void pluginIdentity();
    void pluginProperties();
    void pluginPropertySignal();
    void nestedPropertiesKeepTheirTypes_data();
    void nestedPropertiesKeepTheirTypes();
    void pluginConfiguration();
    void sharedConfigurationIsNeverStale();
    void pluginRegistry();
    void pluginRegistryRefusals();
    void pluginSaysFarewell();
};

// The method of the slot tests is a method only if it tells two neighbours apart.
void tst_Contract::slotsAreMeasured()
{
    if (!c_slotsAreKnown)
        QSKIP("how this ABI represents a pointer to member function is not known here");
    QCOMPARE(slotOf(&Sample::first), c_slotsOfADestructor);
    QCOMPARE(slotOf(&Sample::second), c_slotsOfADestructor + 1);
    QCOMPARE(slotOf(&Sample::plain), -1);
    QCOMPARE(slotOf(&QObject::metaObject), 0);
    QCOMPARE(slotOf(&QObject::eventFilter), 6);
}

void tst_Contract::slotsOfIPlugin()
{
    if (!c_slotsAreKnown)
        QSKIP("how this ABI represents a pointer to member function is not known here");
    int slot = c_slotsOfADestructor;
    QCOMPARE(slotOf(&IPlugin::objectUuid), slot++);
    QCOMPARE(slotOf(&IPlugin::getName), slot++);
    QCOMPARE(slotOf(&IPlugin::pluginUuid), slot++);
    QCOMPARE(slotOf(&IPlugin::pluginName), slot++);
    QCOMPARE(slotOf(&IPlugin::pluginVersion), slot++);
    QCOMPARE(slotOf(&IPlugin::pluginType), slot++);
    QCOMPARE(slotOf(&IPlugin::compatiblePlugins), slot++);
    QCOMPARE(slotOf(&IPlugin::compatibilityString), slot++);
    QCOMPARE(slotOf(static_cast<InterfacePropertyFound>(&IPlugin::getProperty)), slot++);
    QCOMPARE(slotOf(static_cast<InterfacePropertyDefault>(&IPlugin::getProperty)), slot++);
    QCOMPARE(slotOf(&IPlugin::setMainConfig), slot++);
    QCOMPARE(slotOf(&IPlugin::getInMainConfig), slot++);
    QCOMPARE(slotOf(&IPlugin::getInPluginConfig), slot++);
    QCOMPARE(slotOf(&IPlugin::getDebugIdentification), slot++);
    QCOMPARE(slotOf(&IPlugin::createInstance), slot++);
    QCOMPARE(slotOf(&IPlugin::pluginSubTypeName), slot++);
    QCOMPARE(slotOf(&IPlugin::getFunctions), slot++);
    QCOMPARE(slotOf(&IPlugin::getFunctionDescription), slot++);
    QCOMPARE(slotOf(&IPlugin::getCommandParameters), slot++);
    QCOMPARE(slotOf(&IPlugin::getMainConfig), slot++);
    QCOMPARE(slotOf(&IPlugin::setInPluginConfig), slot++);
    QCOMPARE(slotOf(&IPlugin::setInMainConfig), slot++);
}

void tst_Contract::slotsOfDAbstractPlugin()
{
    if (!c_slotsAreKnown)
        QSKIP("how this ABI represents a pointer to member function is not known here");
    int slot = c_slotsOfQObject;
    QCOMPARE(slotOf(&DAbstractPlugin::objectUuid), slot++);
    QCOMPARE(slotOf(&DAbstractPlugin::getName), slot++);
    QCOMPARE(slotOf(&DAbstractPlugin::pluginUuid), slot++);
    QCOMPARE(slotOf(&DAbstractPlugin::pluginName), slot++);
    QCOMPARE(slotOf(&DAbstractPlugin::pluginVersion), slot++);
    QCOMPARE(slotOf(&DAbstractPlugin::pluginType), slot++);
    QCOMPARE(slotOf(&DAbstractPlugin::compatiblePlugins), slot++);
    QCOMPARE(slotOf(&DAbstractPlugin::compatibilityString), slot++);
    QCOMPARE(slotOf(static_cast<PropertyFound>(&DAbstractPlugin::getProperty)), slot++);
    QCOMPARE(slotOf(static_cast<PropertyDefault>(&DAbstractPlugin::getProperty)), slot++);
    QCOMPARE(slotOf(&DAbstractPlugin::getFunctions), slot++);
    QCOMPARE(slotOf(&DAbstractPlugin::getFunctionDescription), slot++);
    QCOMPARE(slotOf(&DAbstractPlugin::getCommandParameters), slot++);
    QCOMPARE(slotOf(&DAbstractPlugin::setMainConfig), slot++);
    QCOMPARE(slotOf(&DAbstractPlugin::getInMainConfig), slot++);
    QCOMPARE(slotOf(&DAbstractPlugin::getInPluginConfig), slot++);
    QCOMPARE(slotOf(&DAbstractPlugin::getDebugIdentification), slot++);
    QCOMPARE(slotOf(&DAbstractPlugin::getMainConfig), slot++);
    QCOMPARE(slotOf(&DAbstractPlugin::setInPluginConfig), slot++);
    QCOMPARE(slotOf(&DAbstractPlugin::setInMainConfig), slot++);
    QCOMPARE(slotOf(&DAbstractPlugin::initPluginCommands), slot++);
    QCOMPARE(slotOf(&DAbstractPlugin::createInstance), slot++);
    QCOMPARE(slotOf(&DAbstractPlugin::pluginSubTypeName), slot++);
}

void tst_Contract::slotsOfICommand()
{
    if (!c_slotsAreKnown)
        QSKIP("how this ABI represents a pointer to member function is not known here");
    int slot = 0;
    QCOMPARE(slotOf(&ICommand::createCommand), slot++);
    QCOMPARE(slotOf(&ICommand::linkWithItsOrder), slot++);
    QCOMPARE(slotOf(&ICommand::commandName), slot++);
    QCOMPARE(slotOf(&ICommand::stopCommandName), slot++);
    QCOMPARE(slotOf(&ICommand::getOrderId), slot++);
    QCOMPARE(slotOf(&ICommand::getParameterOrderId), slot++);
    QCOMPARE(slotOf(&ICommand::isRecurrent), slot++);
    QCOMPARE(slotOf(&ICommand::isValid), slot++);
    QCOMPARE(slotOf(&ICommand::description), slot++);
    QCOMPARE(slotOf(&ICommand::fullDescription), slot++);
    QCOMPARE(slotOf(&ICommand::commandArguments), slot++);
    QCOMPARE(slotOf(&ICommand::commandExecute), slot++);
    QCOMPARE(slotOf(&ICommand::setReply), slot++);
    QCOMPARE(slotOf(&ICommand::finishTheCommand), slot++);
    QCOMPARE(slotOf(&ICommand::sigCommandFinished), slot++);
}

void tst_Contract::slotsOfDAbstractCommand()
{
    if (!c_slotsAreKnown)
        QSKIP("how this ABI represents a pointer to member function is not known here");
    int slot = c_slotsOfQObject;
    QCOMPARE(slotOf(&DAbstractCommand::linkWithItsOrder), slot++);
    QCOMPARE(slotOf(&DAbstractCommand::commandName), slot++);
    QCOMPARE(slotOf(&DAbstractCommand::stopCommandName), slot++);
    QCOMPARE(slotOf(&DAbstractCommand::getOrderId), slot++);
    QCOMPARE(slotOf(&DAbstractCommand::getParameterOrderId), slot++);
    QCOMPARE(slotOf(&DAbstractCommand::isRecurrent), slot++);
    QCOMPARE(slotOf(&DAbstractCommand::isValid), slot++);
    QCOMPARE(slotOf(&DAbstractCommand::description), slot++);
    QCOMPARE(slotOf(&DAbstractCommand::fullDescription), slot++);
    QCOMPARE(slotOf(&DAbstractCommand::commandArguments), slot++);
    QCOMPARE(slotOf(&DAbstractCommand::commandExecute), slot++);
    QCOMPARE(slotOf(&DAbstractCommand::setReply), slot++);
    QCOMPARE(slotOf(&DAbstractCommand::finishTheCommand), slot++);
    QCOMPARE(slotOf(&DAbstractCommand::sigCommandFinished), slot++);
    QCOMPARE(slotOf(&DAbstractCommand::addInstruction), slot++);
    QCOMPARE(slotOf(&DAbstractCommand::createCommand), slot++);
}

void tst_Contract::typeCodes()
{
    const auto text = [](quint32 code) {
        QString letters;
        for (int shift = 24; shift >= 0; shift -= 8)
            letters += QChar(static_cast<ushort>((code >> shift) & 0xFF));
        return letters;
    };
    QCOMPARE(text(IPlugin::CeTypeDevice), QString("Devi"));
    QCOMPARE(text(IPlugin::CeTypeDriver), QString("Driv"));
    QCOMPARE(int(IMessenger::CeEcNone), 0);
}

void tst_Contract::delegateEmpty()
{
    const Delegate2 delegate;
    QVERIFY(delegate.empty());
    QVERIFY(!delegate);
    QCOMPARE(delegate(1, {}), false);
    QVERIFY(Delegate3().empty());
    QVERIFY(Delegate2(static_cast<Derived*>(nullptr), &Derived::whoAmI).empty());
    QCOMPARE(sizeof(Delegate2), 2 * sizeof(void*));
    QCOMPARE(sizeof(Delegate3), 2 * sizeof(void*));
}

void tst_Contract::delegateMembers()
{
    Derived object;
    const Derived& constObject = object;
    const QVariantMap map{{"a", 1}};
    // A virtual member named by the base ends in the derived class.
    const Delegate2 virtualMember(&object, &SecondBase::whoAmI);
    QVERIFY(!virtualMember.empty());
    QVERIFY(bool(virtualMember));
    QCOMPARE(virtualMember(9, map), true);
    QCOMPARE(object.lastId, quint64(9));
    // A member of the second base, through the derived class: `this` must move.
    const Delegate2 ofSecondBase(&object, &Derived::ownMember);
    QCOMPARE(ofSecondBase(10, map), true);
    QCOMPARE(object.lastId, quint64(10));
    QCOMPARE(object.lastMap, map);
    const Delegate2 constMember(&constObject, &Derived::constMember);
    QCOMPARE(constMember(5, map), true);
    QCOMPARE(constMember(6, map), false);
}

void tst_Contract::delegateCopy()
{
    Derived object;
    const Delegate2 original(&object, &Derived::ownMember);
    Delegate2 copy;
    copy = original;
    const Delegate2 second(copy);
    QCOMPARE(second(11, {}), true);
    QCOMPARE(object.lastId, quint64(11));
    copy = Delegate2();
    QVERIFY(copy.empty());
    QVERIFY(!second.empty());
}

void tst_Contract::delegateThreeArguments()
{
    Derived object;
    const Delegate3 delegate(&object, &Derived::error);
    QCOMPARE(delegate(12, IMessenger::CeEcTimeout, {{"b", 2}}), true);
    QCOMPARE(delegate(12, IMessenger::CeEcRefused, {{"b", 2}}), false);
    QCOMPARE(object.lastMap, (QVariantMap{{"b", 2}}));
}

void tst_Contract::convert_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("type");
    QTest::addColumn<QVariant>("expected"); // invalid: the default
    const QVariant none;
    QTest::newRow("invalid") << none << int(QMetaType::UInt) << none;
    QTest::newRow("int to uint") << QVariant(5001) << int(QMetaType::UInt) << QVariant(5001U);
    QTest::newRow("-1 to uint") << QVariant(-1) << int(QMetaType::UInt) << none;
    QTest::newRow("0 to uint") << QVariant(0) << int(QMetaType::UInt) << QVariant(0U);
    QTest::newRow("largest uint") << QVariant(4294967295.0) << int(QMetaType::UInt) << QVariant(4294967295U);
    QTest::newRow("larger than uint") << QVariant(4294967296.0) << int(QMetaType::UInt) << none;
    QTest::newRow("smallest int") << QVariant(-2147483648.0) << int(QMetaType::Int)
                                  << QVariant(std::numeric_limits<int>::min());
    QTest::newRow("smaller than int") << QVariant(-2147483649.0) << int(QMetaType::Int) << none;
    QTest::newRow("whole double") << QVariant(5.0) << int(QMetaType::Int) << QVariant(5);
    QTest::newRow("fraction") << QVariant(1.5) << int(QMetaType::Int) << none;
    QTest::newRow("not a number") << QVariant(qQNaN()) << int(QMetaType::Int) << none;
    QTest::newRow("infinity") << QVariant(qInf()) << int(QMetaType::LongLong) << none;
    QTest::newRow("decimal text") << QVariant("42") << int(QMetaType::UInt) << QVariant(42U);
    QTest::newRow("text with a leading zero") << QVariant("010") << int(QMetaType::UInt) << QVariant(10U);
    QTest::newRow("hexadecimal text") << QVariant("0x10") << int(QMetaType::UInt) << none;
    QTest::newRow("text with blanks") << QVariant(" 12 ") << int(QMetaType::UInt) << none;
    QTest::newRow("text with a plus") << QVariant("+5") << int(QMetaType::UInt) << none;
    QTest::newRow("negative text") << QVariant("-5") << int(QMetaType::Int) << QVariant(-5);
    QTest::newRow("text with a unit") << QVariant("12 V") << int(QMetaType::UInt) << none;
    QTest::newRow("empty text") << QVariant("") << int(QMetaType::UInt) << none;
    QTest::newRow("bool to int") << QVariant(true) << int(QMetaType::Int) << QVariant(1);
    QTest::newRow("list to int") << QVariant(QVariantList{1}) << int(QMetaType::Int) << none;
    QTest::newRow("map to int") << QVariant(QVariantMap{{"a", 1}}) << int(QMetaType::Int) << none;
    QTest::newRow("int to text") << QVariant(12) << int(QMetaType::QString) << QVariant("12");
    QTest::newRow("text to text") << QVariant("a") << int(QMetaType::QString) << QVariant("a");
    QTest::newRow("list to text") << QVariant(QVariantList{1}) << int(QMetaType::QString) << none;
    QTest::newRow("map to text") << QVariant(QVariantMap{{"a", 1}}) << int(QMetaType::QString) << none;
    QTest::newRow("int to double") << QVariant(12) << int(QMetaType::Double) << QVariant(12.0);
    QTest::newRow("text to double") << QVariant("1.5") << int(QMetaType::Double) << QVariant(1.5);
    QTest::newRow("bad text to double") << QVariant("x") << int(QMetaType::Double) << none;
    QTest::newRow("list to list") << QVariant(QVariantList{1, 2}) << int(QMetaType::QVariantList)
                                  << QVariant(QVariantList{1, 2});
    QTest::newRow("map to map") << QVariant(QVariantMap{{"a", 1}}) << int(QMetaType::QVariantMap)
                                << QVariant(QVariantMap{{"a", 1}});
    QTest::newRow("text to map") << QVariant("a") << int(QMetaType::QVariantMap) << none;
    QTest::newRow("65535 to 16 bits")
        << QVariant(65535) << int(QMetaType::UShort) << QVariant::fromValue<quint16>(65535);
    QTest::newRow("65536 to 16 bits") << QVariant(65536) << int(QMetaType::UShort) << none;
    QTest::newRow("-32768 to short") << QVariant(-32768) << int(QMetaType::Short)
                                     << QVariant::fromValue<qint16>(-32768);
    QTest::newRow("-32769 to short") << QVariant(-32769) << int(QMetaType::Short) << none;
    QTest::newRow("-1 to 64 bits unsigned") << QVariant(-1) << int(QMetaType::ULongLong) << none;
    QTest::newRow("2^53 + 2 as double") << QVariant(9007199254740994.0) << int(QMetaType::LongLong) << none;
}

void tst_Contract::convert()
{
    QFETCH(QVariant, value);
    QFETCH(int, type);
    QFETCH(QVariant, expected);
    const QVariant defaultValue = QVariant::fromValue<QPoint>({1, 2}); // of a type nothing converts to
    const QVariant result = convertVariant(value, static_cast<QMetaType::Type>(type), defaultValue);
    const QVariant wanted = expected.isValid() ? expected : defaultValue;
    QCOMPARE(result.userType(), wanted.userType());
    QCOMPARE(result, wanted);
}

void tst_Contract::convertToDeclared_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("code");
    QTest::addColumn<QVariant>("expected"); // invalid: refused
    const QVariant none;
    QTest::newRow("ui16 0") << QVariant("0") << "ui16" << QVariant(0U);
    QTest::newRow("ui16 65535") << QVariant("65535") << "ui16" << QVariant(65535U);
    QTest::newRow("ui16 65536") << QVariant("65536") << "ui16" << none;
    QTest::newRow("ui16 -1") << QVariant("-1") << "ui16" << none;
    QTest::newRow("ui16 fraction") << QVariant("1.5") << "ui16" << none;
    QTest::newRow("ui16 blank") << QVariant("5 ") << "ui16" << none;
    QTest::newRow("ui16 line feed") << QVariant("5\n") << "ui16" << none;
    QTest::newRow("ui16 invalid") << none << "ui16" << none;
    QTest::newRow("int") << QVariant("-12") << "int" << QVariant(-12);
    QTest::newRow("int too large") << QVariant("2147483648") << "int" << none;
    QTest::newRow("strg") << QVariant(" a b ") << "strg" << QVariant(" a b ");
    QTest::newRow("strg empty") << QVariant("") << "strg" << QVariant("");
    QTest::newRow("strg from a map") << QVariant(QVariantMap{{"a", 1}}) << "strg" << none;
    QTest::newRow("bool true") << QVariant("true") << "bool" << QVariant(true);
    QTest::newRow("bool No") << QVariant("No") << "bool" << QVariant(false);
    QTest::newRow("bool 1") << QVariant(1) << "bool" << QVariant(true);
    QTest::newRow("bool 2") << QVariant(2) << "bool" << none;
    QTest::newRow("bool maybe") << QVariant("maybe") << "bool" << none;
    QTest::newRow("bool empty") << QVariant("") << "bool" << none;
    QTest::newRow("vart") << QVariant(1.5) << "vart" << QVariant(1.5);
    QTest::newRow("vart invalid") << none << "vart" << none;
    QTest::newRow("varL from JSON") << QVariant("[1, 2]") << "varL" << QVariant(QVariantList{1.0, 2.0});
    QTest::newRow("varL") << QVariant(QVariantList{1}) << "varL" << QVariant(QVariantList{1});
    QTest::newRow("varL from texts") << QVariant(QStringList{"a", "b"}) << "varL"
                                     << QVariant(QVariantList{"a", "b"});
    QTest::newRow("varL from a map") << QVariant("{}") << "varL" << none;
    QTest::newRow("varL cut off") << QVariant("[1, 2") << "varL" << none;
    QTest::newRow("varM from JSON") << QVariant("{\"a\": \"b\"}") << "varM"
                                    << QVariant(QVariantMap{{"a", "b"}});
    QTest::newRow("varM from a list") << QVariant("[]") << "varM" << none;
    QTest::newRow("no type code") << QVariant(1) << "ui8" << none;
}

void tst_Contract::convertToDeclared()
{
    QFETCH(QVariant, value);
    QFETCH(QString, code);
    QFETCH(QVariant, expected);
    QString error = "untouched";
    const QVariant result = convertToDeclaredType(value, code, &error);
    QCOMPARE(result.userType(), expected.userType());
    QCOMPARE(result, expected);
    QCOMPARE(error.isEmpty(), expected.isValid());
    QCOMPARE(convertToDeclaredType(value, code), expected);
}

void tst_Contract::parameterValue_data()
{
    QTest::addColumn<QVariantMap>("arguments");
    QTest::addColumn<QString>("id");
    QTest::addColumn<QVariant>("expected");
    QTest::newRow("the order's argument") << QVariantMap{{"withDefault", 2}} << "withDefault" << QVariant(2);
    QTest::newRow("an argument that is null")
        << QVariantMap{{"withDefault", QVariant()}} << "withDefault" << QVariant();
    QTest::newRow("the declared default") << QVariantMap{} << "withDefault" << QVariant(1);
    QTest::newRow("no declared default") << QVariantMap{} << "plain" << QVariant("fallback");
    QTest::newRow("not declared") << QVariantMap{} << "other" << QVariant("fallback");
    QTest::newRow("not declared but given") << QVariantMap{{"other", 3}} << "other" << QVariant(3);
    QTest::newRow("another spelling") << QVariantMap{{"Plain", 3}} << "plain" << QVariant("fallback");
}

void tst_Contract::parameterValue()
{
    QFETCH(QVariantMap, arguments);
    QFETCH(QString, id);
    QFETCH(QVariant, expected);
    Command command(arguments);
    command.declareAParameter("withDefault", "int", "", 1);
    command.declareAParameter("plain", "int", "");
    QCOMPARE(command.getParameterValue(id, "fallback"), expected);
    QCOMPARE(command.commandArguments(), arguments);
}

namespace {

QSharedPointer<QJsonObject> configuration()
{
    const auto entry = [](const QString& id, const QJsonValue& value) {
        return QJsonObject{{"id", id}, {"value", value}};
    };
    const QJsonArray channels{
        QJsonObject{
            {"id", "directionChange"},
            {"value", QJsonArray{entry("register", 5001), entry("writeRegisterType", "singleRegister"),
                                 entry("register", 1), entry("size", 1.5), entry("low", -1),
                                 entry("text", "12"), entry("list", QJsonArray{1})}}},
        QJsonObject{{"id", "directionChange"}, {"value", QJsonArray{entry("only", 1)}}},
        QJsonObject{{"id", "noList"}, {"value", 5}},
        QJsonObject{{"value", QJsonArray{entry("register", 7)}}},
        "no object",
        QJsonObject{{"id", "oddEntries"}, {"value", QJsonArray{1, "x", entry("register", 8)}}}};
    const QJsonObject parameters{{"number", 3}, {"text", "abc"}, {"list", QJsonArray{1, 2}}};
    const QJsonObject other{{"id", "{55555555-0000-0000-0000-000000000009}"},
                            {"configuration", QJsonObject{{"parameters", QJsonObject{{"number", 99}}}}}};
    const QJsonObject own{{"id", "{55555555-0000-0000-0000-000000000001}"},
                          {"name", "mdc"},
                          {"configuration", QJsonObject{{"channels", channels}, {"parameters", parameters}}}};
    return QSharedPointer<QJsonObject>(new QJsonObject{{"version", 1}, {"objects", QJsonArray{other, own}}});
}

} // namespace

void tst_Contract::parameterById_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<int>("type");
    QTest::addColumn<QVariant>("expected");
    QTest::newRow("number") << "number" << int(QMetaType::Int) << QVariant(3);
    QTest::newRow("number as text") << "number" << int(QMetaType::QString) << QVariant("3");
    QTest::newRow("text as number") << "text" << int(QMetaType::Int) << QVariant("default");
    QTest::newRow("list") << "list" << int(QMetaType::QVariantList) << QVariant(QVariantList{1.0, 2.0});
    QTest::newRow("list as map") << "list" << int(QMetaType::QVariantMap) << QVariant("default");
    QTest::newRow("missing") << "missing" << int(QMetaType::Int) << QVariant("default");
}

void tst_Contract::parameterById()
{
    QFETCH(QString, id);
    QFETCH(int, type);
    QFETCH(QVariant, expected);
    Plugin plugin;
    plugin.setMainConfig(configuration());
    const Command command({}, &plugin);
    QCOMPARE(command.getParameterById(id, static_cast<QMetaType::Type>(type), "default"), expected);
    QCOMPARE(command.getParametersSection("parameters").size(), 3);
    QCOMPARE(command.getParametersSection("channels"), QVariantMap()); // a list is no section
    QCOMPARE(command.getParametersSection("missing"), QVariantMap());
}

void tst_Contract::infoFromChannel_data()
{
    QTest::addColumn<QString>("channel");
    QTest::addColumn<QString>("info");
    QTest::addColumn<int>("type");
    QTest::addColumn<QVariant>("expected"); // invalid: the default
    const int uInt = QMetaType::UInt;
    const QVariant none;
    QTest::newRow("register, the first of two") << "directionChange"
                                                << "register" << uInt << QVariant(5001U);
    QTest::newRow("text") << "directionChange"
                          << "writeRegisterType" << int(QMetaType::QString) << QVariant("singleRegister");
    QTest::newRow("text as number") << "directionChange"
                                    << "writeRegisterType" << uInt << none;
    QTest::newRow("fraction") << "directionChange"
                              << "size" << uInt << none;
    QTest::newRow("negative") << "directionChange"
                              << "low" << uInt << none;
    QTest::newRow("number in a text") << "directionChange"
                                      << "text" << uInt << QVariant(12U);
    QTest::newRow("list as number") << "directionChange"
                                    << "list" << uInt << none;
    QTest::newRow("second channel of that id") << "directionChange"
                                               << "only" << uInt << none;
    QTest::newRow("missing entry") << "directionChange"
                                   << "missing" << uInt << none;
    QTest::newRow("missing channel") << "directionChangeV2"
                                     << "register" << uInt << none;
    QTest::newRow("another spelling") << "DirectionChange"
                                      << "register" << uInt << none;
    QTest::newRow("no list of entries") << "noList"
                                        << "register" << uInt << none;
    QTest::newRow("channel without id") << ""
                                        << "register" << uInt << none;
    QTest::newRow("entries that are none") << "oddEntries"
                                           << "register" << uInt << QVariant(8U);
}

void tst_Contract::infoFromChannel()
{
    QFETCH(QString, channel);
    QFETCH(QString, info);
    QFETCH(int, type);
    QFETCH(QVariant, expected);
    Plugin plugin;
    plugin.setMainConfig(configuration());
    const Command command({}, &plugin);
    const auto wanted = static_cast<QMetaType::Type>(type);
    const QVariant found = command.getInfoFromChannel(channel, info, wanted, QVariant());
    QCOMPARE(found.userType(), expected.userType());
    QCOMPARE(found, expected);
    QCOMPARE(command.getInfoFromChannel(channel, info, wanted, "default"),
             expected.isValid() ? expected : QVariant("default"));
}

void tst_Contract::infoFollowsTheConfiguration()
{
    Plugin plugin;
    const Command command({}, &plugin);
    QVERIFY(!command.getInfoFromChannel("a", "register", QMetaType::UInt, {}).isValid());
    const auto channels = [](int address) {
        const QJsonObject entry{{"id", "register"}, {"value", address}};
        return QJsonArray{QJsonObject{{"id", "a"}, {"value", QJsonArray{entry}}}};
    };
    plugin.setInPluginConfig("channels", channels(1));
    QCOMPARE(command.getInfoFromChannel("a", "register", QMetaType::UInt, {}), QVariant(1U));
    plugin.setInPluginConfig("channels", channels(2));
    QCOMPARE(command.getInfoFromChannel("a", "register", QMetaType::UInt, {}), QVariant(2U));
    plugin.setInMainConfig("objects", QJsonArray());
    QVERIFY(!command.getInfoFromChannel("a", "register", QMetaType::UInt, {}).isValid());
    plugin.setMainConfig(configuration());
    QCOMPARE(command.getInfoFromChannel("directionChange", "register", QMetaType::UInt, {}), QVariant(5001U));
}

void tst_Contract::withoutPlugin()
{
    QObject parent;
    for (QObject* const owner : {static_cast<QObject*>(nullptr), &parent}) {
        auto* const command = new Command({}, owner);
        const std::unique_ptr<Command> guard(command);
        QCOMPARE(command->getInfoFromChannel("a", "b", QMetaType::UInt, 5), QVariant(5));
        QCOMPARE(command->getParameterById("a", QMetaType::UInt, 6), QVariant(6));
        QCOMPARE(command->getParametersSection("parameters"), QVariantMap());
    }
}

void tst_Contract::resultVariableNames()
{
    Command command;
    QCOMPARE(command.getResultVariableName(), QStringList());
    command.declareAResult("z", "bool", "");
    command.declareAResult("a", "vart", "");
    QCOMPARE(command.getResultVariableName(), (QStringList{"z", "a"}));
}

void tst_Contract::declarationRefusals_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("type");
    QTest::newRow("repeated id") << "taken"
                                 << "int";
    QTest::newRow("empty id") << ""
                              << "int";
    QTest::newRow("unknown type") << "other"
                                  << "ui8";
    QTest::newRow("empty type") << "other"
                                << "";
}

void tst_Contract::declarationRefusals()
{
    QFETCH(QString, id);
    QFETCH(QString, type);
    for (const bool asResult : {false, true}) {
        Command command;
        command.declareAParameter("taken", "int", "");
        command.declareAResult("taken", "int", ""); // a result may be named like a parameter
        QVERIFY(command.isValid());
        QVERIFY(command.commandExecute());
        QTest::ignoreMessage(QtCriticalMsg, QRegularExpression("command.*\"" + id + "\".*\"" + type + "\""));
        if (asResult)
            command.declareAResult(id, type, "");
        else
            command.declareAParameter(id, type, "");
        QVERIFY(!command.isValid());
        QVERIFY(!command.commandExecute());
        QCOMPARE(command.parameters().size(), 1);
        QCOMPARE(command.results().size(), 1);
    }
    QVERIFY(!Command({}, nullptr, QString()).isValid());
}

void tst_Contract::descriptions()
{
    Command command({{"a", 1}});
    command.setDescription("What it does");
    command.declareAParameter("a", "ui16", "First", 5);
    command.declareAParameter("b", "strg", "Second", "");
    command.declareAResult("doneOk", "bool", "Done");
    QCOMPARE(command.commandName(), QString("command"));
    QCOMPARE(command.stopCommandName(), QString());
    QVERIFY(!command.isRecurrent());
    QCOMPARE(command.description(), QString("What it does"));
    QCOMPARE(command.fullDescription(),
             QString("What it does\nParameters:\n  a (ui16): First [default: \"5\"]\n"
                     "  b (strg): Second [default: \"\"]\nResults:\n"
                     "  doneOk (bool): Done"));
}

void tst_Contract::clonesDeclareForThemselves_data()
{
    QTest::addColumn<QVariantMap>("arguments");
    QTest::addColumn<QString>("declared");
    const QString parameters =
        "\nParameters:\n  first (int): First [default: \"1\"]\n  second (strg): Second";
    const QString results = "\nResults:\n  a (vart): Result\n  b (vart): Result";
    const auto other = [&](const char* from, const char* to) {
        return QString(parameters + results).replace(from, to);
    };
    QTest::newRow("as the prototype") << QVariantMap() << parameters + results;
    QTest::newRow("another default") << QVariantMap{{"default", 2}} << other("\"1\"", "\"2\"");
    QTest::newRow("a default of another type") << QVariantMap{{"default", "1"}} << parameters + results;
    QTest::newRow("no default") << QVariantMap{{"default", QVariant()}} << other(" [default: \"1\"]", "");
    QTest::newRow("another type") << QVariantMap{{"type", "ui16"}} << other("(int)", "(ui16)");
    QTest::newRow("fewer results") << QVariantMap{{"results", QStringList{"a"}}}
                                   << other("\n  b (vart): Result", "");
    QTest::newRow("no results") << QVariantMap{{"results", QStringList()}} << parameters;
    QTest::newRow("more results") << QVariantMap{{"results", QStringList{"a", "b", "c"}}}
                                  << parameters + results + "\n  c (vart): Result";
    QTest::newRow("other results") << QVariantMap{{"results", QStringList{"c"}}}
                                   << parameters + "\nResults:\n  c (vart): Result";
}

// A clone shares its prototype's declarations as long as they are its own, and changes nobody else's.
void tst_Contract::clonesDeclareForThemselves()
{
    QFETCH(QVariantMap, arguments);
    QFETCH(QString, declared);
    Plugin plugin;
    auto* const prototype = new VaryingCommand({}, &plugin);
    plugin.declareInstructionCommand(prototype);
    const QString ofPrototype = prototype->fullDescription();
    const auto clone = prototype->createCommand(arguments);
    const auto sibling = prototype->createCommand({});
    const auto* const command = dynamic_cast<const DAbstractCommand*>(clone.data());
    QVERIFY(command != nullptr && command->isValid());
    QCOMPARE(command->fullDescription(), declared);
    QCOMPARE(command->parameters().size(), 2);
    QCOMPARE(command->getParameterValue("first", {}), arguments.value("default", 1));
    const QStringList results = arguments.value("results", QStringList{"a", "b"}).toStringList();
    QCOMPARE(command->getResultVariableName(), results);
    for (const char* const name : {"a", "b", "c"}) {
        const bool isDeclared = results.contains(name);
        if (!isDeclared)
            QTest::ignoreMessage(QtCriticalMsg, QRegularExpression("not declared"));
        QCOMPARE(clone.dynamicCast<DAbstractCommand>()->commandUpdateResult(name, 1), isDeclared);
    }
    QCOMPARE(prototype->fullDescription(), ofPrototype);
    QCOMPARE(sibling->fullDescription(), ofPrototype);
    QTest::ignoreMessage(QtCriticalMsg, QRegularExpression("\"first\".*repeated"));
    clone.dynamicCast<DAbstractCommand>()->declareAParameter("first", "int", "Again");
    QVERIFY(!clone->isValid() && sibling->isValid());
}

void tst_Contract::publishing()
{
    FakeOrder order;
    Command command;
    command.declareAResult("doneOk", "bool", "");
    command.declareAResult("values", "vart", "");
    command.linkWithItsOrder(&order);
    QCOMPARE(command.getOrderId(), quint64(7));
    QCOMPARE(command.getParameterOrderId(), quint64(3));
    QVERIFY(command.commandUpdateResult("doneOk", true));
    QVERIFY(command.commandUpdateResults({{"doneOk", false}, {"values", QVariantList{1}}}));
    QTest::ignoreMessage(QtCriticalMsg, QRegularExpression("\"?command\"?.*other.*not declared"));
    QVERIFY(!command.commandUpdateResults({{"doneOk", true}, {"other", 1}}));
    QCOMPARE(order.updates,
             (QList<QVariantMap>{{{"doneOk", true}}, {{"doneOk", false}, {"values", QVariantList{1}}}}));
    QVERIFY(command.commandSetReply({{"anything", 1}}));
    QCOMPARE(order.replies, (QList<QVariantMap>{{{"anything", 1}}}));
    QVERIFY(command.reportFailure(IMessenger::CeEcNotConnected, "down"));
    QCOMPARE(order.failures.size(), 1);
    order.setOpen(false);
    QVERIFY(!command.commandUpdateResult("doneOk", true));
    QVERIFY(!command.commandSetReply({}));
    QVERIFY(!command.reportFailure(IMessenger::CeEcNotConnected, "down"));
    QVERIFY(!command.commandExecute());
    QCOMPARE(order.updates.size(), 2);
}

void tst_Contract::withoutOrder()
{
    Command command;
    command.declareAResult("doneOk", "bool", "");
    QVERIFY(command.commandExecute());
    QCOMPARE(command.getOrderId(), quint64(0));
    QCOMPARE(command.getParameterOrderId(), quint64(0));
    QCOMPARE(command.addInstruction("driver", "read", {}, 3000, {&command, &Command::onReply}), quint64(0));
    QVERIFY(command.commandUpdateResult("doneOk", true));
    QVERIFY(command.deadline().isForever());
    QSignalSpy finished(&command, SIGNAL(sigCommandFinished(bool)));
    bool ok = true;
    command.finishTheCommand(ok);
    QVERIFY(ok);
    QCOMPARE(finished.size(), 1);
    command.finishTheCommand(ok);
    QVERIFY(!ok);
    QVERIFY(!command.commandUpdateResult("doneOk", true));
    QCOMPARE(finished.size(), 1);

    // An object that is no order, and an order that has gone.
    QObject none;
    Command other;
    other.linkWithItsOrder(&none);
    QVERIFY(other.commandExecute());
    QCOMPARE(other.addInstruction("driver", "read", {}, 0, {}), quint64(0));
    {
        FakeOrder order;
        other.linkWithItsOrder(&order);
        QCOMPARE(other.getOrderId(), quint64(7));
    }
    QCOMPARE(other.getOrderId(), quint64(0));
    QVERIFY(!other.commandExecute());
    QVERIFY(!other.failTheCommand(IMessenger::CeEcInternal, {}));
}

void tst_Contract::replies()
{
    FakeOrder order;
    Command command;
    command.linkWithItsOrder(&order);
    const quint64 id =
        command.addInstruction("driver", "read", {{"register", 1}}, 3000, {&command, &Command::onReply});
    QCOMPARE(id, quint64(101));
    QCOMPARE(order.sent(), QStringList("driver read {register=int:1} 3000"));
    QVERIFY(!command.setReply(id + 1, {{"values", 1}}));
    QCOMPARE(command.lastId, quint64(0));
    QVERIFY(command.setReply(id, {{"values", 1}}));
    QCOMPARE(command.lastId, id);
    QCOMPARE(command.lastReply, (QVariantMap{{"values", 1}}));
    command.verdict = false;
    QVERIFY(!command.setReply(id, {}));
    command.forgetInstruction(id);
    command.verdict = true;
    QVERIFY(!command.setReply(id, {}));
    // Without a handler a reply is simply taken.
    const quint64 unheard = command.addInstruction("driver", "read", {}, 3000, {});
    QVERIFY(command.setReply(unheard, {}));
    command.orderEnded(true);
    QVERIFY(!command.setReply(unheard, {}));
}

void tst_Contract::finishing()
{
    FakeOrder order;
    Command command;
    command.linkWithItsOrder(&order);
    bool ok = false;
    command.finishTheCommand(ok);
    QVERIFY(!ok);
    QCOMPARE(order.endCount, 1);
    QVERIFY(!order.ok);
    QCOMPARE(order.code, IMessenger::CeEcInternal);
    ok = true;
    command.finishTheCommand(ok);
    QVERIFY(!ok);
    QCOMPARE(order.endCount, 1);

    QSignalSpy finished(&command, SIGNAL(sigCommandFinished(bool)));
    command.orderEnded(true);
    command.orderEnded(false);
    QCOMPARE(finished.size(), 1);
    QCOMPARE(finished.first().first(), QVariant(true));
}

void tst_Contract::failing()
{
    FakeOrder order;
    Command command;
    command.linkWithItsOrder(&order);
    QVERIFY(command.failTheCommand(IMessenger::CeEcUncertain, "sent"));
    QCOMPARE(order.endCount, 1);
    QVERIFY(!order.ok);
    QCOMPARE(order.code, IMessenger::CeEcUncertain);
    QCOMPARE(order.message, QString("sent"));
    QVERIFY(!command.failTheCommand(IMessenger::CeEcUncertain, "sent"));
}

void tst_Contract::pluginIdentity()
{
    Plugin plugin;
    QCOMPARE(plugin.objectUuid(), QUuid("{55555555-0000-0000-0000-000000000001}"));
    QCOMPARE(plugin.pluginName(), QString("Kind"));
    QCOMPARE(plugin.getName(), QString("Kind")); // until it has a configuration
    QCOMPARE(plugin.compatibilityString(), QString("Kind 1.2"));
    plugin.setMainConfig(configuration());
    QCOMPARE(plugin.getName(), QString("mdc"));
    QVERIFY(plugin.getDebugIdentification().contains("mdc"));
    QVERIFY(plugin.getDebugIdentification().contains(plugin.objectUuid().toString()));
    QVERIFY(qobject_cast<IPlugin*>(static_cast<QObject*>(&plugin)) == &plugin);
    Plugin root{QUuid()};
    root.setMainConfig(configuration());
    QCOMPARE(root.getName(), QString("Kind"));
}

void tst_Contract::pluginProperties()
{
    Plugin plugin;
    bool found = true;
    QVERIFY(plugin.getProperty("a", &found).isNull());
    QVERIFY(!found);
    QVERIFY(plugin.getProperty("a", nullptr).isNull());
    QCOMPARE(plugin.getProperty("a", 5), QVariant(5));
    plugin.setProperty("a", QString(), false);
    QVERIFY(plugin.getProperty("a", &found).isValid());
    QVERIFY(found);
    QCOMPARE(plugin.getProperty("a", 5), QVariant(QString()));
    plugin.setProperty("a", 1, false);
    QCOMPARE(plugin.properties(), (QVariantMap{{"a", 1}}));
}

void tst_Contract::pluginPropertySignal()
{
    Plugin plugin;
    QSignalSpy changed(&plugin, &DAbstractPlugin::sigPropertyChanged);
    plugin.setProperty("a", 1, false);
    plugin.setProperty("a", 1, false);
    QCOMPARE(changed.size(), 1);
    plugin.setProperty("a", "1", false); // another type is another value
    QCOMPARE(changed.size(), 2);
    QCOMPARE(plugin.getProperty("a", nullptr).userType(), int(QMetaType::QString));
    plugin.setProperty("a", "1", true); // now it is to be kept
    QCOMPARE(changed.size(), 3);
    QCOMPARE(changed.last().at(2), QVariant(true));
}

void tst_Contract::nestedPropertiesKeepTheirTypes_data()
{
    QTest::addColumn<QVariant>("before");
    QTest::addColumn<QVariant>("after");
    QTest::addColumn<bool>("changes");
    const QVariantList numbers{1, 2};
    QTest::newRow("same list") << QVariant(numbers) << QVariant(QVariantList{1, 2}) << false;
    QTest::newRow("text in a list") << QVariant(numbers) << QVariant(QVariantList{"1", 2}) << true;
    QTest::newRow("a type of number in a list")
        << QVariant(numbers) << QVariant(QVariantList{1, qlonglong(2)}) << true;
    QTest::newRow("a longer list") << QVariant(numbers) << QVariant(QVariantList{1, 2, 3}) << true;
    QTest::newRow("a list in a list")
        << QVariant(QVariantList{QVariant(numbers)}) << QVariant(QVariantList{QVariantList{1, "2"}}) << true;
    const QVariantMap map{{"a", 1}};
    QTest::newRow("same map") << QVariant(map) << QVariant(QVariantMap{{"a", 1}}) << false;
    QTest::newRow("text in a map") << QVariant(map) << QVariant(QVariantMap{{"a", "1"}}) << true;
    QTest::newRow("another key") << QVariant(map) << QVariant(QVariantMap{{"b", 1}}) << true;
    QTest::newRow("a list in a map") << QVariant(QVariantMap{{"a", numbers}})
                                     << QVariant(QVariantMap{{"a", QVariantList{1, true}}}) << true;
    QTest::newRow("texts") << QVariant(QStringList{"1"}) << QVariant(QVariantList{"1"}) << true;
}

void tst_Contract::nestedPropertiesKeepTheirTypes()
{
    QFETCH(QVariant, before);
    QFETCH(QVariant, after);
    QFETCH(bool, changes);
    Plugin plugin;
    plugin.setProperty("a", before, false);
    QSignalSpy changed(&plugin, &DAbstractPlugin::sigPropertyChanged);
    plugin.setProperty("a", after, false);
    QCOMPARE(changed.size(), changes ? 1 : 0);
}

void tst_Contract::pluginConfiguration()
{
    Plugin plugin;
    plugin.setMainConfig({});
    bool found = true;
    QCOMPARE(plugin.getInMainConfig("version", 9, &found), QJsonValue(9));
    QVERIFY(!found);
    QCOMPARE(plugin.getInPluginConfig("parameters", "none", &found), QJsonValue("none"));
    QVERIFY(!found);
    plugin.setInPluginConfig("key", 4); // without any host
    QCOMPARE(plugin.getInPluginConfig("key", 0, &found), QJsonValue(4));
    QVERIFY(found);

    const QSharedPointer<QJsonObject> shared = configuration();
    Plugin other(QUuid("{55555555-0000-0000-0000-000000000009}"));
    plugin.setMainConfig(shared);
    other.setMainConfig(shared);
    QCOMPARE(plugin.getMainConfig(), shared);
    QCOMPARE(plugin.getInMainConfig("version", 9, nullptr), QJsonValue(1));
    QCOMPARE(plugin.getInPluginConfig("parameters", {}, nullptr).toObject().value("number"), QJsonValue(3));
    QCOMPARE(other.getInPluginConfig("parameters", {}, nullptr).toObject().value("number"), QJsonValue(99));
    plugin.setInPluginConfig("key", 4);
    QVERIFY(other.getInPluginConfig("key", {}, nullptr).isNull());
    plugin.setInMainConfig("site", "x");
    QCOMPARE(other.getInMainConfig("site", {}, nullptr), QJsonValue("x"));
}

// A page and a command read one configuration through instances of their own.
void tst_Contract::sharedConfigurationIsNeverStale()
{
    const QUuid uuid("{55555555-0000-0000-0000-000000000001}");
    const QSharedPointer<QJsonObject> shared = configuration();
    Plugin writer(uuid);
    Plugin reader(uuid);
    writer.setMainConfig(shared);
    reader.setMainConfig(shared);
    QCOMPARE(reader.configSection("parameters").value("number"), QVariant(3));
    QVERIFY(!reader.channelInfo("new", "register").isValid());

    writer.setInPluginConfig("parameters", QJsonObject{{"number", 4}});
    QCOMPARE(reader.configSection("parameters").value("number"), QVariant(4));
    const QJsonObject channel{{"id", "new"},
                              {"value", QJsonArray{QJsonObject{{"id", "register"}, {"value", 7}}}}};
    writer.setInPluginConfig("channels", QJsonArray{channel});
    QCOMPARE(reader.channelInfo("new", "register"), QVariant(7));

    QJsonArray objects = shared->value("objects").toArray();
    for (int i = 0; i < objects.size(); ++i) {
        QJsonObject object = objects.at(i).toObject();
        if (object.value("id").toString() == uuid.toString())
            object.insert("configuration", QJsonObject{{"parameters", QJsonObject{{"number", 5}}}});
        objects.replace(i, object);
    }
    reader.getMainConfig()->insert("objects", objects);
    for (const Plugin* const plugin : {&writer, &reader}) {
        QCOMPARE(plugin->configSection("parameters").value("number"), QVariant(5));
        QVERIFY(!plugin->channelInfo("new", "register").isValid());
    }
}

void tst_Contract::pluginRegistry()
{
    Plugin plugin;
    auto* const command = new Command({}, &plugin, "read");
    command->setDescription("Reads");
    command->declareAParameter("register", "ui16", "Address", 5);
    command->declareAResult("values", "varL", "Values");
    plugin.declareInstructionCommand(new Command({}, &plugin, "write"));
    plugin.declareInstructionCommand(command);
    QCOMPARE(plugin.commandNames(), (QStringList{"write", "read"}));
    QCOMPARE(plugin.getFunctions(false), (QStringList{"write", "read"}));
    QCOMPARE(plugin.commandPrototype("read"), command);
    QVERIFY(plugin.commandPrototype("Read") == nullptr);
    QCOMPARE(plugin.getFunctionDescription("read"), QString("Reads"));
    QCOMPARE(plugin.getFunctionDescription("none"), QString());
    const QVariantMap parameters = plugin.getCommandParameters("read");
    QCOMPARE(parameters.value("parameters").toList(),
             (QVariantList{QVariantMap{
                 {"id", "register"}, {"type", "ui16"}, {"description", "Address"}, {"default", 5}}}));
    QCOMPARE(parameters.value("results").toList().size(), 1);
    QCOMPARE(plugin.getCommandParameters("none"), QVariantMap());
    // A second start of the same instance begins with an empty registry.
    plugin.initPluginCommands();
    QCOMPARE(plugin.commandNames(), QStringList());
    plugin.declareInstructionCommand(new Command({}, &plugin, "read"));
    QCOMPARE(plugin.commandNames(), QStringList{"read"});
}

void tst_Contract::pluginRegistryRefusals()
{
    Plugin plugin;
    plugin.declareInstructionCommand(new Command({}, &plugin, "read"));
    QTest::ignoreMessage(QtCriticalMsg, QRegularExpression("null command"));
    plugin.declareInstructionCommand(nullptr);
    QTest::ignoreMessage(QtCriticalMsg, QRegularExpression("name is taken"));
    plugin.declareInstructionCommand(new Command({}, &plugin, "read"));
    Command orphan({}, nullptr, "orphan");
    QTest::ignoreMessage(QtCriticalMsg, QRegularExpression("orphan.*parent"));
    plugin.declareInstructionCommand(&orphan);
    QTest::ignoreMessage(QtCriticalMsg, QRegularExpression("not valid"));
    plugin.declareInstructionCommand(new Command({}, &plugin, QString()));
    QCOMPARE(plugin.commandNames(), QStringList{"read"});
}

void tst_Contract::pluginSaysFarewell()
{
    auto plugin = std::make_unique<Plugin>();
    QPointer<Command> prototype = new Command({}, plugin.get(), "read");
    plugin->declareInstructionCommand(prototype);
    bool wholeAtFarewell = false;
    connect(plugin.get(), &DAbstractPlugin::sigAboutToBeDestroyed, this, [&](DAbstractPlugin* going) {
        wholeAtFarewell = !prototype.isNull() && going->commandNames() == QStringList{"read"} &&
                          !going->objectUuid().isNull();
    });
    plugin.reset();
    QVERIFY(wholeAtFarewell);
    QVERIFY(prototype.isNull());
}

QTEST_GUILESS_MAIN(tst_Contract)
#include "tst_contract.moc"
