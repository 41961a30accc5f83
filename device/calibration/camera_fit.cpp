#include "calibration/camera_fit.h"

#include <Eigen/Eigenvalues>
#include <Eigen/Geometry>
#include <algorithm>
#include <array>
#include <cmath>
#include <unsupported/Eigen/AutoDiff>
#include <unsupported/Eigen/LevenbergMarquardt>

namespace device::calibration {

namespace {

constexpr double BEHIND = 1e4;  // deviations, the residual of what is not in front of the camera
constexpr int MOST_TRIES = 60;  // of one descent, which seldom takes 20
constexpr double PRECISION = 1e-12;
constexpr double LEAST_STRENGTH = 1e-13;  // of the strongest, the columns scaled to length 1

// Halves of the picture's width, for 12 to 150 degrees across it.
constexpr std::array FIRST_FOCALS = {9.5, 4.7, 3.0, 2.1, 1.6, 1.2, 0.92, 0.7, 0.5, 0.36, 0.27};
constexpr std::size_t DESCENTS = 3;

constexpr int DIRECTION_STEPS = 2;  // across a direction
using Derivatives = Eigen::Matrix<double, UNKNOWNS + DIRECTION_STEPS, 1>;
using Dual = Eigen::AutoDiffScalar<Derivatives>;

struct Start {
  Eigen::Matrix3d axes;
  double focal = 1;
  double misfit = 0;
};

Unknowns<Dual> withDerivatives(const Unknowns<double>& values) {
  Unknowns<Dual> duals;
  for (int i = 0; i < UNKNOWNS; ++i) {
    duals[i] = Dual(values[i], static_cast<int>(Derivatives::RowsAtCompileTime), i);
  }
  return duals;
}

Unknowns<double> wholeFrom(const Eigen::VectorXd& sought) {
  Unknowns<double> all = Unknowns<double>::Zero();
  all.head(sought.size()) = sought;
  return all;
}

// The residuals and their derivatives, as Eigen's solver asks for them.
class Problem : public Eigen::DenseFunctor<double> {
 public:
  Problem(const FitTask& task, const Eigen::Matrix3d& axes)
      : DenseFunctor(task.unknownCount(), 2 * static_cast<int>(task.points.size())),
        task(task),
        axes(axes) {}

  int operator()(const InputType& sought, ValueType& residuals) const {
    const Unknowns<double> all = wholeFrom(sought);
    for (Eigen::Index i = 0; i < values() / 2; ++i) {
      const Sighted& point = task.points[static_cast<std::size_t>(i)];
      double right = 0;
      double up = 0;
      const bool isSeen = project<double>(axes, task.heights, all, point.sight, right, up);
      residuals[2 * i] = isSeen ? (right - point.place.x()) / task.deviation : BEHIND;
      residuals[2 * i + 1] = isSeen ? (up - point.place.y()) / task.deviation : BEHIND;
    }
    return 0;
  }

  int df(const InputType& sought, JacobianType& jacobian) const {
    const Unknowns<Dual> all = withDerivatives(wholeFrom(sought));
    jacobian.setZero(values(), inputs());
    for (Eigen::Index i = 0; i < values() / 2; ++i) {
      const Vector3<Dual> sight = task.points[static_cast<std::size_t>(i)].sight.cast<Dual>();
      Dual right;
      Dual up;
      if (project<Dual>(axes, task.heights, all, sight, right, up)) {
        jacobian.row(2 * i) = right.derivatives().head(inputs()).transpose() / task.deviation;
        jacobian.row(2 * i + 1) = up.derivatives().head(inputs()).transpose() / task.deviation;
      }
    }
    return 0;
  }

 private:
  const FitTask& task;
  const Eigen::Matrix3d& axes;
};

// The turn that brings the directions of the head nearest to those that a lens without distortion
// gives the places: the quaternion to the largest eigenvalue.
Start startWith(const FitTask& task, double focal) {
  Eigen::Matrix3d s = Eigen::Matrix3d::Zero();
  for (const Sighted& point : task.points) {
    const Vector3<double> ray(point.place.x() / focal, 1, point.place.y() / focal);
    s += point.sight * ray.normalized().transpose();
  }
  Eigen::MatrixXd turns(4, 4);
  turns << s.trace(), s(1, 2) - s(2, 1), s(2, 0) - s(0, 2), s(0, 1) - s(1, 0),  //
      0, 2 * s(0, 0) - s.trace(), s(0, 1) + s(1, 0), s(2, 0) + s(0, 2),         //
      0, 0, 2 * s(1, 1) - s.trace(), s(1, 2) + s(2, 1),                         //
      0, 0, 0, 2 * s(2, 2) - s.trace();
  const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(turns.transpose());
  const Eigen::VectorXd q = solver.eigenvectors().col(3);
  return {Eigen::Quaterniond(q[0], q[1], q[2], q[3]).toRotationMatrix(), focal,
          -solver.eigenvalues()[3]};
}

std::vector<Start> startsFor(const FitTask& task) {
  std::vector<Start> starts;
  for (const double focal : FIRST_FOCALS) {
    starts.push_back(startWith(task, focal));
  }
  std::ranges::sort(starts, {}, &Start::misfit);
  starts.resize(DESCENTS);
  return starts;
}

// Of the residuals' derivatives; nothing where they do not tell every unknown.
std::optional<Eigen::MatrixXd> covarianceOf(const Eigen::MatrixXd& jacobian) {
  const Eigen::VectorXd lengths = jacobian.colwise().norm();
  if (!lengths.allFinite() || lengths.minCoeff() <= 0) {
    return std::nullopt;
  }
  const Eigen::VectorXd scales = lengths.cwiseInverse();
  const Eigen::MatrixXd scaled = jacobian * scales.asDiagonal();
  const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(scaled.transpose() * scaled);
  const Eigen::VectorXd& strengths = solver.eigenvalues();
  if (!(strengths.minCoeff() > LEAST_STRENGTH * strengths.maxCoeff())) {
    return std::nullopt;
  }
  const Eigen::MatrixXd sides = scales.asDiagonal() * solver.eigenvectors();
  return sides * strengths.cwiseInverse().asDiagonal() * sides.transpose();
}

std::optional<CameraFit> descend(const FitTask& task, const Start& start) {
  Problem problem(task, start.axes);
  Eigen::VectorXd sought = Eigen::VectorXd::Zero(task.unknownCount());
  sought[FOCAL] = std::log(start.focal);
  Eigen::LevenbergMarquardt<Problem> solver(problem);
  solver.setMaxfev(MOST_TRIES);
  solver.setFtol(PRECISION);
  solver.setXtol(PRECISION);
  const auto status = solver.minimize(sought);
  using namespace Eigen::LevenbergMarquardtSpace;
  const bool isFound = status == RelativeReductionTooSmall || status == RelativeErrorTooSmall ||
                       status == RelativeErrorAndReductionTooSmall || status == CosinusTooSmall ||
                       status == FtolTooSmall || status == XtolTooSmall || status == GtolTooSmall;
  if (!isFound || !sought.allFinite()) {
    return std::nullopt;
  }

  Problem::ValueType residuals(problem.values());
  problem(sought, residuals);
  Problem::JacobianType jacobian;
  problem.df(sought, jacobian);
  const Unknowns<double> all = wholeFrom(sought);
  CameraFit fit;
  for (int column = 0; column < 3; ++column) {
    fit.axes.col(column) = turned<double>(start.axes.col(column), all.head<3>());
  }
  fit.focal = std::exp(all[FOCAL]);
  fit.distortion = all[DISTORTION];
  fit.offsetX = all[OFFSET_X];
  fit.offsetY = all[OFFSET_Y];
  fit.misfit = residuals.squaredNorm();
  return fit;
}

// The unknowns at a fit, whose axes are the first guess.
Unknowns<double> unknownsOf(const CameraFit& fit) {
  Unknowns<double> all;
  all << 0, 0, 0, std::log(fit.focal), fit.distortion, fit.offsetX, fit.offsetY;
  return all;
}

}  // namespace

std::optional<CameraFit> fitCamera(const FitTask& task) {
  std::optional<CameraFit> best;
  for (const Start& start : startsFor(task)) {
    const std::optional<CameraFit> fit = descend(task, start);
    if (fit && std::isfinite(fit->misfit) && (!best || fit->misfit < best->misfit)) {
      best = fit;
    }
  }
  if (!best) {
    return std::nullopt;
  }
  const Problem problem(task, best->axes);
  Problem::JacobianType jacobian;
  problem.df(unknownsOf(*best).head(task.unknownCount()), jacobian);
  best->covariance = covarianceOf(jacobian);
  return best;
}

// The place stays when the unknowns change and the direction changes with them: the theorem of
// implicit functions.
std::optional<double> directionVariance(const FitTask& task, const CameraFit& fit,
                                        const Vector3<double>& sight) {
  if (!fit.covariance) {
    return std::nullopt;
  }
  const Vector3<double> sideways = sight.unitOrthogonal();
  const Vector3<double> upwards = sight.cross(sideways);
  constexpr int ALL = Derivatives::RowsAtCompileTime;
  const Dual first(0.0, ALL, UNKNOWNS);
  const Dual second(0.0, ALL, UNKNOWNS + 1);
  const Vector3<Dual> moved =
      sight.cast<Dual>() + sideways.cast<Dual>() * first + upwards.cast<Dual>() * second;
  Dual right;
  Dual up;
  if (!project<Dual>(fit.axes, task.heights, withDerivatives(unknownsOf(fit)), moved, right, up)) {
    return std::nullopt;
  }
  Eigen::Matrix<double, 2, ALL> place;
  place << right.derivatives().transpose(), up.derivatives().transpose();
  const Eigen::Matrix2d by = place.rightCols<DIRECTION_STEPS>();
  const double determinant = by(0, 0) * by(1, 1) - by(0, 1) * by(1, 0);
  if (!(std::abs(determinant) > 0)) {
    return std::nullopt;
  }
  Eigen::Matrix2d back;
  back << by(1, 1), -by(0, 1), -by(1, 0), by(0, 0);
  const Eigen::MatrixXd moves = back / determinant * place.leftCols(task.unknownCount());
  return (moves * *fit.covariance * moves.transpose()).trace();
}

double varianceOf(const CameraFit& fit, const Eigen::VectorXd& derivatives) {
  return derivatives.dot(*fit.covariance * derivatives);
}

}  // namespace device::calibration
