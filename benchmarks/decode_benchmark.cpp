#include "benchmarks/rounds.h"
#include "plugins/p_device_mdc/model/register_block.h"

#include <QElapsedTimer>
#include <QVariantList>
#include <QVector>

#include <cstdio>

// What decoding a block costs for each of its registers, beside a plain loop that reads the same words.

namespace {

constexpr int c_registers = 60;
constexpr int c_repeats = 20000;
constexpr int c_rounds = 11;

volatile uint s_sink = 0;

template <class Work>
double nanosecondsPerRegister(Work work)
{
    QElapsedTimer clock;
    clock.start();
    for (int i = 0; i < c_repeats; ++i)
        work();
    return static_cast<double>(clock.nsecsElapsed()) / c_repeats / c_registers;
}

} // namespace

int main()
{
    bindToProcessor(0);
    QVariantList words;
    for (int i = 0; i < c_registers; ++i)
        words.append(i * 1000 % 65536);
    QVector<double> plain;
    QVector<double> integers;
    QVector<double> list;
    const QString typeInt = QStringLiteral("int");
    const QString typeList = QStringLiteral("list");
    for (int round = 0; round < c_rounds; ++round) {
        // To take a word is to copy its variant: there is no value without that.
        plain.append(nanosecondsPerRegister([&] {
            for (int i = 0; i < c_registers; ++i) {
                const QVariant word = words.at(i);
                s_sink = s_sink + word.toUInt();
            }
        }));
        integers.append(nanosecondsPerRegister([&] {
            for (int i = 0; i < c_registers; ++i)
                s_sink = s_sink + decodeBlockValue(words, i, i, typeInt).value.toUInt();
        }));
        list.append(nanosecondsPerRegister([&] {
            s_sink =
                s_sink + uint(decodeBlockValue(words, 1, c_registers - 1, typeList).value.toList().size());
        }));
    }
    const auto print = [&](const char* what, const QVector<double>& values) {
        std::printf("| decoding, %s, per register | – | %.1f ns | plain loop: %.1f ns | %+.1f ns | %+.1f ns "
                    "| +5 ns |\n",
                    what, median(values), median(plain), median(values) - median(plain),
                    worst(values) - median(plain));
    };
    print("each a value of its own", integers);
    print("all as one list", list);
    return 0;
}
