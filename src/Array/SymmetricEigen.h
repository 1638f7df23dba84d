#pragma once

#include <cstddef>
#include <vector>

namespace IPP {

/// The largest eigenvalues of a real symmetric matrix and their vectors, one after the other, as many as are asked for:
///     A v = l v,   l of Value(0) >= Value(1) >= ..
/// Reflections make the matrix tridiagonal (A. S. Householder, J. ACM 5 (1958), 339-342), counts of signs enclose an
/// eigenvalue (W. Givens; G. H. Golub and C. F. Van Loan, "Matrix Computations", 4th ed. 2013, section 8.4.1), inverse
/// iteration gives its vector (section 7.6.1), and the reflections bring it back. All in 64 bits: an eigenvalue is
/// exact to some 1e-15 of the largest one.
///
/// For the order n the first step takes 2 n^3 / 3 multiplications and as many additions, each vector 4 n^2: a few of
/// them cost nothing beside it, where rotations (C. G. J. Jacobi's method) take many times as long for all at once.
class SymmetricEigen {
public:
    /// \param matrix of which the lower triangle counts, row by row, `step` apart; its memory is used as long as the
    /// object lives. Finite. \param n order, above 0. std::bad_alloc
    SymmetricEigen(double* matrix, std::ptrdiff_t step, int n);

    /// The i-th largest eigenvalue, i below the order.
    double Value(int i) const;

    /// Eigenvectors of the `count` largest eigenvalues, of length 1 and at right angles, row by row; where eigenvalues
    /// are equal, some of those that span their space.
    std::vector<double> Vectors(int count) const;

private:
    void Reduce();
    void CountBelow(const double* bounds, int* counts) const;
    void InverseIteration(double value, const std::vector<double>& before, int count, double* vector) const;
    void Restore(double* vector) const;

    double* matrix; ///< row i: the direction of reflection i, in its first i elements
    std::ptrdiff_t step;
    int order;
    std::vector<double> diagonal, beside; ///< of the tridiagonal matrix: beside[i] couples i - 1 and i
    std::vector<double> halfSquare;       ///< half the squared length of each direction; 0: no reflection
    double low, high, scale;              ///< enclose all eigenvalues, and the larger magnitude of both
};

} // namespace IPP
