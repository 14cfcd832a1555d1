// Dense numerics for the calibration, line and aligner tools.
#include "geometry/calibration/solve.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace kel::calib {

void sym_eigen(int n, std::vector<double> a, std::vector<double> &values,
               std::vector<double> &vectors) {
  std::vector<double> v(std::size_t(n) * n, 0.0);
  for (int i = 0; i < n; ++i)
    v[i * n + i] = 1.0;
  for (int sweep = 0; sweep < 100; ++sweep) {
    double off = 0, total = 0;
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j)
        (i == j ? total : off) += a[i * n + j] * a[i * n + j];
    if (off <= 1e-30 * total || off == 0) break;
    for (int p = 0; p < n - 1; ++p) {
      for (int q = p + 1; q < n; ++q) {
        double apq = a[p * n + q];
        if (apq == 0) continue;
        double theta = (a[q * n + q] - a[p * n + p]) / (2 * apq);
        double t = (theta >= 0 ? 1.0 : -1.0) / (std::fabs(theta) + std::sqrt(theta * theta + 1));
        double c = 1 / std::sqrt(t * t + 1), s = t * c;
        for (int k = 0; k < n; ++k) {
          double akp = a[k * n + p], akq = a[k * n + q];
          a[k * n + p] = c * akp - s * akq;
          a[k * n + q] = s * akp + c * akq;
        }
        for (int k = 0; k < n; ++k) {
          double apk = a[p * n + k], aqk = a[q * n + k];
          a[p * n + k] = c * apk - s * aqk;
          a[q * n + k] = s * apk + c * aqk;
        }
        for (int k = 0; k < n; ++k) {
          double vkp = v[k * n + p], vkq = v[k * n + q];
          v[k * n + p] = c * vkp - s * vkq;
          v[k * n + q] = s * vkp + c * vkq;
        }
      }
    }
  }
  std::vector<int> order(n);
  std::iota(order.begin(), order.end(), 0);
  std::sort(order.begin(), order.end(), [&](int i, int j) { return a[i * n + i] < a[j * n + j]; });
  values.assign(n, 0.0);
  vectors.assign(std::size_t(n) * n, 0.0);
  for (int k = 0; k < n; ++k) {
    values[k] = a[order[k] * n + order[k]];
    for (int i = 0; i < n; ++i)
      vectors[i * n + k] = v[i * n + order[k]];
  }
}

std::vector<double> null_vector(int n, const std::vector<double> &rows) {
  std::vector<double> ata(std::size_t(n) * n, 0.0);
  const std::size_t m = rows.size() / n;
  for (std::size_t r = 0; r < m; ++r) {
    const double *row = &rows[r * n];
    for (int i = 0; i < n; ++i)
      for (int j = i; j < n; ++j)
        ata[i * n + j] += row[i] * row[j];
  }
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < i; ++j)
      ata[i * n + j] = ata[j * n + i];
  std::vector<double> values, vectors;
  sym_eigen(n, std::move(ata), values, vectors);
  std::vector<double> x(n);
  for (int i = 0; i < n; ++i)
    x[i] = vectors[i * n];
  return x;
}

bool solve(int n, std::vector<double> a, std::vector<double> &b) {
  for (int c = 0; c < n; ++c) {
    int pivot = c;
    for (int r = c + 1; r < n; ++r)
      if (std::fabs(a[r * n + c]) > std::fabs(a[pivot * n + c])) pivot = r;
    if (!(std::fabs(a[pivot * n + c]) > 0)) return false;
    if (pivot != c) {
      for (int k = 0; k < n; ++k)
        std::swap(a[c * n + k], a[pivot * n + k]);
      std::swap(b[c], b[pivot]);
    }
    for (int r = c + 1; r < n; ++r) {
      double f = a[r * n + c] / a[c * n + c];
      if (f == 0) continue;
      for (int k = c; k < n; ++k)
        a[r * n + k] -= f * a[c * n + k];
      b[r] -= f * b[c];
    }
  }
  for (int r = n - 1; r >= 0; --r) {
    double s = b[r];
    for (int k = r + 1; k < n; ++k)
      s -= a[r * n + k] * b[k];
    b[r] = s / a[r * n + r];
    if (!std::isfinite(b[r])) return false;
  }
  return true;
}

bool numeric_jacobian(const LeastSquares &problem, const double *p, double *jac, int first,
                      int last) {
  const int np = problem.params, nr = problem.residuals;
  std::vector<double> q(p, p + np), plus(nr), minus(nr);
  for (int j = first; j < last; ++j) {
    const double h = 1e-6 * std::max(1.0, std::fabs(p[j]));
    q[j] = p[j] + h;
    if (!problem.eval(q.data(), plus.data())) return false;
    q[j] = p[j] - h;
    if (!problem.eval(q.data(), minus.data())) return false;
    q[j] = p[j];
    for (int i = 0; i < nr; ++i)
      jac[std::size_t(i) * np + j] = (plus[i] - minus[i]) / (2 * h);
  }
  return true;
}

namespace {

double sum_squares(const std::vector<double> &r) {
  double s = 0;
  for (double v : r)
    s += v * v;
  return s;
}

}  // namespace

LmReport levenberg_marquardt(const LeastSquares &problem, std::vector<double> &p,
                             int max_iterations) {
  const int np = problem.params, nr = problem.residuals;
  LmReport report;
  std::vector<double> r(nr), trial_r(nr), jac(std::size_t(nr) * np), jtj(std::size_t(np) * np),
      jtr(np), trial(np);
  if (!problem.eval(p.data(), r.data())) return report;
  report.ok = true;
  double cost = sum_squares(r), lambda = 1e-3;
  for (int it = 0; it < max_iterations && cost > 0; ++it) {
    report.iterations = it + 1;
    bool have = problem.jacobian ? problem.jacobian(p.data(), jac.data())
                                 : numeric_jacobian(problem, p.data(), jac.data(), 0, np);
    if (!have) break;
    std::fill(jtj.begin(), jtj.end(), 0.0);
    std::fill(jtr.begin(), jtr.end(), 0.0);
    for (int i = 0; i < nr; ++i) {
      const double *row = &jac[std::size_t(i) * np];
      for (int a = 0; a < np; ++a) {
        if (row[a] == 0) continue;
        jtr[a] += row[a] * r[i];
        for (int b = a; b < np; ++b)
          jtj[a * np + b] += row[a] * row[b];
      }
    }
    for (int a = 0; a < np; ++a)
      for (int b = 0; b < a; ++b)
        jtj[a * np + b] = jtj[b * np + a];
    bool improved = false;
    double step_norm = 0, p_norm = 0;
    for (int attempt = 0; attempt < 30 && !improved; ++attempt) {
      std::vector<double> a = jtj, delta(np);
      for (int k = 0; k < np; ++k) {
        a[k * np + k] += lambda * std::max(jtj[k * np + k], 1e-12);
        delta[k] = -jtr[k];
      }
      if (solve(np, std::move(a), delta)) {
        for (int k = 0; k < np; ++k)
          trial[k] = p[k] + delta[k];
        if (problem.eval(trial.data(), trial_r.data())) {
          double trial_cost = sum_squares(trial_r);
          if (trial_cost <= cost) {
            step_norm = p_norm = 0;
            for (int k = 0; k < np; ++k) {
              step_norm += delta[k] * delta[k];
              p_norm += p[k] * p[k];
            }
            double reduction = cost - trial_cost;
            p = trial;
            r.swap(trial_r);
            improved = true;
            lambda = std::max(lambda / 10, 1e-15);
            bool done = reduction <= 1e-16 * cost || step_norm <= 1e-30 * (p_norm + 1e-30);
            cost = trial_cost;
            if (done) {
              report.cost = cost;
              return report;
            }
            break;
          }
        }
      }
      lambda *= 10;
    }
    if (!improved) break;
  }
  report.cost = cost;
  return report;
}

double det3(const double *m) {
  return m[0] * (m[4] * m[8] - m[5] * m[7]) - m[1] * (m[3] * m[8] - m[5] * m[6]) +
         m[2] * (m[3] * m[7] - m[4] * m[6]);
}

bool invert3(const double *m, double *inv) {
  double d = det3(m);
  if (!(std::fabs(d) > 0) || !std::isfinite(d)) return false;
  double r[9] = {m[4] * m[8] - m[5] * m[7], m[2] * m[7] - m[1] * m[8], m[1] * m[5] - m[2] * m[4],
                 m[5] * m[6] - m[3] * m[8], m[0] * m[8] - m[2] * m[6], m[2] * m[3] - m[0] * m[5],
                 m[3] * m[7] - m[4] * m[6], m[1] * m[6] - m[0] * m[7], m[0] * m[4] - m[1] * m[3]};
  for (int i = 0; i < 9; ++i)
    inv[i] = r[i] / d;
  return true;
}

void mul3(const double *a, const double *b, double *out) {
  double r[9];
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      r[i * 3 + j] = a[i * 3] * b[j] + a[i * 3 + 1] * b[3 + j] + a[i * 3 + 2] * b[6 + j];
  std::copy(r, r + 9, out);
}

}  // namespace kel::calib
