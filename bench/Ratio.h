#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

/// Comparing a subject with a peer on the same machine at the same time.
namespace Keelhaven::Bench {

/// Milliseconds that one call of `work` takes.
template <typename F>
[[nodiscard]] double milliseconds(F &&work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

[[nodiscard]] inline double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

enum class Aim { AtLeast, AtMost };

/// `name ratio=4.10 (aim >= 3)`: one line that a script can pick out.
inline void printRatio(const char *name, double ratio, double limit, Aim aim = Aim::AtLeast)
{
    std::printf("%s ratio=%.2f (aim %s %g)\n", name, ratio, aim == Aim::AtLeast ? ">=" : "<=", limit);
    std::fflush(stdout);
}

/// Runs both in turn for some rounds, after one round that only warms up, and prints how many times as fast
/// as the peer the subject is (median over the rounds, so that other load on the machine hits both alike).
template <typename Subject, typename Peer>
double compare(const char *name, double aim, Subject &&subject, Peer &&peer, int rounds = 9)
{
    subject();
    peer();
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        const double own = milliseconds(subject);
        ratios.push_back(milliseconds(peer) / own);
    }
    const double ratio = median(std::move(ratios));
    printRatio(name, ratio, aim);
    return ratio;
}

} // namespace Keelhaven::Bench
