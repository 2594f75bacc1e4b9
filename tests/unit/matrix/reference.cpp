#include "reference.hpp"

#include <cmath>

namespace reference {

static table zeros(size_t nrows, size_t ncols)
{
    return table(nrows, std::vector<double>(ncols, 0.0));
}

table multiply(const table &a, const table &b)
{
    table c = zeros(a.size(), b[0].size());
    for (size_t i = 0; i < a.size(); ++i)
        for (size_t j = 0; j < b[0].size(); ++j) {
            double sum = 0.0;
            for (size_t k = 0; k < b.size(); ++k) sum += a[i][k] * b[k][j];
            c[i][j] = sum;
        }
    return c;
}

table column_std_dev(const table &a)
{
    table result = zeros(1, a[0].size());
    for (size_t j = 0; j < a[0].size(); ++j) {
        double count = 0.0;
        double mean = 0.0;
        double m2 = 0.0;
        for (size_t i = 0; i < a.size(); ++i) {
            count = count + 1.0;
            const double x = a[i][j];
            const double delta = x - mean;
            mean = mean + delta / count;
            m2 = m2 + delta * (x - mean);
        }
        result[0][j] = std::sqrt(m2 / static_cast<double>(a.size()));
    }
    return result;
}

static void swap_columns(table &a, size_t c1, size_t c2)
{
    for (auto &row : a) std::swap(row[c1], row[c2]);
}

lu decompose(table a)
{
    const size_t n = a.size();
    lu parts = {{}, {}, {}, 1, 1.0};
    for (size_t k = 0; k < n; ++k) {
        size_t row = k;
        size_t column = k;
        for (size_t i = k; i < n; ++i)
            for (size_t j = k; j < n; ++j)
                if (std::fabs(a[i][j]) > std::fabs(a[row][column])) {
                    row = i;
                    column = j;
                }
        parts.p.push_back(row);
        parts.q.push_back(column);
        std::swap(a[k], a[row]);
        swap_columns(a, k, column);
        if (!(std::fabs(a[k][k]) > 2.2e-16)) continue;
        parts.rank = static_cast<uint32_t>(k + 1);
        for (size_t i = k + 1; i < n; ++i) a[i][k] = a[i][k] / a[k][k];
        for (size_t i = k + 1; i < n; ++i)
            for (size_t j = k + 1; j < n; ++j)
                a[i][j] = a[i][j] - a[i][k] * a[k][j];
    }
    for (size_t k = 0; k < n; ++k) parts.det = parts.det * a[k][k];
    parts.a = a;
    return parts;
}

// L and U in pivoted order.
static table pivoted_lower(const lu &parts)
{
    const size_t n = parts.a.size();
    table result = zeros(n, n);
    for (size_t i = 0; i < n; ++i) {
        for (size_t j = 0; j < i; ++j) result[i][j] = parts.a[i][j];
        result[i][i] = 1.0;
    }
    return result;
}

static table pivoted_upper(const lu &parts)
{
    const size_t n = parts.a.size();
    table result = zeros(n, n);
    for (size_t i = 0; i < n; ++i)
        for (size_t j = i; j < n; ++j) result[i][j] = parts.a[i][j];
    return result;
}

table lower(const lu &parts)
{
    table result = pivoted_lower(parts);
    for (size_t k = result.size(); k-- > 0;)
        std::swap(result[k], result[parts.p[k]]);
    return result;
}

table upper(const lu &parts)
{
    table result = pivoted_upper(parts);
    for (size_t k = result.size(); k-- > 0;)
        swap_columns(result, k, parts.q[k]);
    return result;
}

table inverse(const table &a)
{
    const lu parts = decompose(a);
    const size_t n = a.size();
    const table &f = parts.a;
    table left = zeros(n, n);
    for (size_t i = 0; i < n; ++i) {
        left[i][i] = 1.0;
        for (size_t j = i; j-- > 0;) {
            double sum = -f[i][j];
            for (size_t k = j + 1; k < i; ++k) sum += -f[i][k] * left[k][j];
            left[i][j] = sum;
        }
    }
    for (size_t k = n; k-- > 0;) swap_columns(left, k, parts.p[k]);
    table right = zeros(n, n);
    for (size_t i = n; i-- > 0;)
        for (size_t j = i; j < n; ++j) {
            double sum = j == i ? 1.0 : 0.0;
            for (size_t k = i + 1; k <= j; ++k) sum -= f[i][k] * right[k][j];
            right[i][j] = sum / f[i][i];
        }
    for (size_t k = n; k-- > 0;) std::swap(right[k], right[parts.q[k]]);
    return multiply(right, left);
}

table solve(const table &a, const table &b)
{
    const lu parts = decompose(a);
    const size_t n = a.size();
    table x = b;
    for (size_t k = 0; k < n; ++k) std::swap(x[k], x[parts.p[k]]);
    const table l = pivoted_lower(parts);
    for (size_t i = 0; i < n; ++i) {
        double s = 0.0;
        for (size_t j = 0; j < i; ++j) s += l[i][j] * x[j][0];
        x[i][0] = (x[i][0] - s) / l[i][i];
    }
    const table &u = parts.a;
    for (size_t i = n; i-- > 0;) {
        double s = 0.0;
        for (size_t j = i + 1; j < n; ++j) s += u[i][j] * x[j][0];
        x[i][0] = (x[i][0] - s) / u[i][i];
    }
    for (size_t k = n; k-- > 0;) std::swap(x[k], x[parts.q[k]]);
    return x;
}

}  // namespace reference
