// Small dense numerics shared by the calibration, line and aligner tools:
// a symmetric eigen-solver, a linear solver, the null vector of a
// least-squares system and a Levenberg-Marquardt minimiser.
#pragma once

#include <functional>
#include <vector>

namespace kel::calib {

// Eigen-decomposition of the symmetric n x n matrix `a` (row-major) by
// cyclic Jacobi rotations. Eigenvalues ascend; eigenvector k is column k of
// `vectors` (row-major n x n).
void sym_eigen(int n, std::vector<double> a, std::vector<double> &values,
               std::vector<double> &vectors);

// The unit vector x minimising |A x| for the m x n matrix A given by rows
// (row-major), i.e. the eigenvector of A^T A with the smallest eigenvalue.
std::vector<double> null_vector(int n, const std::vector<double> &rows);

// Solves the n x n system a x = b (row-major a) in place of b by Gaussian
// elimination with partial pivoting; false when a is singular.
bool solve(int n, std::vector<double> a, std::vector<double> &b);

// A least-squares problem for levenberg_marquardt: `residuals` values that
// depend on `params` parameters. `jacobian`, when set, fills the
// residuals x params Jacobian (row-major); otherwise central differences are
// used. eval returns false for parameters outside the model's domain.
struct LeastSquares {
  int params = 0;
  int residuals = 0;
  std::function<bool(const double *p, double *r)> eval;
  std::function<bool(const double *p, double *jac)> jacobian;
};

struct LmReport {
  double cost = 0;  // sum of squared residuals at the solution
  int iterations = 0;
  bool ok = false;  // false when the start point could not be evaluated
};

// Minimises the sum of squared residuals from `p` (updated in place).
LmReport levenberg_marquardt(const LeastSquares &problem, std::vector<double> &p,
                             int max_iterations = 200);

// Central-difference Jacobian of problem.eval at p, columns [first, last).
bool numeric_jacobian(const LeastSquares &problem, const double *p, double *jac, int first,
                      int last);

// 3 x 3 helpers (row-major).
double det3(const double *m);
bool invert3(const double *m, double *inv);
void mul3(const double *a, const double *b, double *out);

}  // namespace kel::calib
