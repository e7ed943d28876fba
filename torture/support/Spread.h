#ifndef SPREAD_H
#define SPREAD_H

#include <algorithm>
#include <vector>

/// Measurements of one kind. All are 0 while there are none.
class Spread
{
public:
    void add(double value)
    {
        m_values.push_back(value);
    }

    int count() const
    {
        return static_cast<int>(m_values.size());
    }

    double median() const
    {
        if (m_values.empty())
            return 0;
        std::vector<double> values = m_values;
        const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
        std::nth_element(values.begin(), middle, values.end());
        return *middle;
    }

    double worst() const
    {
        return m_values.empty() ? 0 : *std::max_element(m_values.cbegin(), m_values.cend());
    }

private:
    std::vector<double> m_values;
};

#endif
