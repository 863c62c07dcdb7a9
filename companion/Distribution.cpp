#include "companion/Distribution.h"

#include <algorithm>
#include <cmath>

namespace tandemview {

namespace {

constexpr std::size_t sampleSize = 65'536;

}  // namespace

void Distribution::add(double value) {
  least_ = count_ == 0 ? value : std::min(least_, value);
  greatest_ = count_ == 0 ? value : std::max(greatest_, value);
  ++count_;
  if (sample_.size() < sampleSize) return sample_.push_back(value);
  // Every value has the same chance to be in the sample (algorithm R).
  const std::uint64_t place = std::uniform_int_distribution<std::uint64_t>(0, count_ - 1)(random_);
  if (place < sampleSize) sample_[place] = value;
}

double Distribution::percentile(double share) const {
  std::vector<double> values = sample_;
  const double rank = std::ceil(share * static_cast<double>(values.size()));
  const std::size_t index = rank < 1 ? 0 : static_cast<std::size_t>(rank) - 1;
  std::ranges::nth_element(values, values.begin() + static_cast<std::ptrdiff_t>(index));
  return values[index];
}

}  // namespace tandemview
