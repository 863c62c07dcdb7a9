#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace tandemview {

/// The distribution of any number of values in bounded memory: exact up to 65,536 of them, from a random sample of
/// that many beyond. The least and the greatest value are always exact.
class Distribution {
 public:
  void add(double value);

  bool empty() const { return count_ == 0; }
  std::uint64_t count() const { return count_; }
  double least() const { return least_; }
  double greatest() const { return greatest_; }

  /// The value that `share` (0 to 1) of the values do not exceed. Of a distribution that is not empty.
  double percentile(double share) const;

 private:
  std::vector<double> sample_;
  std::uint64_t count_ = 0;
  double least_ = 0;
  double greatest_ = 0;
  std::minstd_rand random_;
};

}  // namespace tandemview
