#include "Suggestion.h"

#include <QVector>

namespace {

constexpr int ShortWord = 2; // letters

// One letter of a short word may be wrong, two or every third of a longer one. Nothing is near to
// what is wrong in every letter.
bool isNear(int letters, const QString &wrong, const QString &word)
{
    const int allowance = word.size() <= ShortWord ? 1 : qMax(2, word.size() / 3);
    return letters <= allowance && letters < wrong.size();
}

bool isSwapped(const QString &one, const QString &other, int i, int k)
{
    return i > 1 && k > 1 && one.at(i - 1) == other.at(k - 2) && one.at(i - 2) == other.at(k - 1);
}

} // namespace

int Suggestion::distance(const QString &one, const QString &other)
{
    QVector<QVector<int>> steps(one.size() + 1, QVector<int>(other.size() + 1));
    for (int i = 0; i <= one.size(); ++i)
        steps[i][0] = i;
    for (int k = 0; k <= other.size(); ++k)
        steps[0][k] = k;
    for (int i = 1; i <= one.size(); ++i) {
        for (int k = 1; k <= other.size(); ++k) {
            const int replaced = steps[i - 1][k - 1] + (one.at(i - 1) == other.at(k - 1) ? 0 : 1);
            int least = qMin(replaced, qMin(steps[i - 1][k], steps[i][k - 1]) + 1);
            if (isSwapped(one, other, i, k))
                least = qMin(least, steps[i - 2][k - 2] + 1);
            steps[i][k] = least;
        }
    }
    return steps[one.size()][other.size()];
}

QString Suggestion::nearest(const QString &wrong, const QStringList &words)
{
    const QString lower = wrong.toLower();
    QString best;
    int leastDistance = 0;
    for (const QString &word : words) {
        const int letters = distance(lower, word.toLower());
        if (!isNear(letters, wrong, word) || (!best.isNull() && letters >= leastDistance))
            continue;
        best = word;
        leastDistance = letters;
    }
    return best;
}

QString Suggestion::question(const QString &wrong, const QStringList &words)
{
    const QString word = nearest(wrong, words);
    return word.isEmpty() ? QString() : QStringLiteral(" Did you mean \"%1\"?").arg(word);
}
