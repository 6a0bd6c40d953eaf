// A million round trips cost what a hundred do, and their quantiles are near those of the sorted list.
#include "services/round_trips.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

using services::RoundTrips;
using Time = RoundTrips::Time;

TEST(RoundTrips, QuantilesAreThoseOfTheSortedListToFiveInTenThousand) {
    std::mt19937_64 random(7);
    for (const double spread : {0.1, 1.0, 6.0}) {  // of the logarithm: from all alike to eleven powers of ten
        std::lognormal_distribution<double> distribution(std::log(50e3), spread);
        RoundTrips trips;
        std::vector<long long> all;
        for (int i = 0; i < 20001; ++i) {
            all.push_back(static_cast<long long>(std::min(distribution(random), 1e14)));
            trips.add(Time(all.back()));
        }
        std::sort(all.begin(), all.end());
        EXPECT_EQ(trips.count(), all.size());
        EXPECT_EQ(trips.least().count(), all.front());
        EXPECT_EQ(trips.most().count(), all.back());
        for (std::size_t percent : {0u, 1u, 50u, 99u, 100u}) {
            const auto exact = static_cast<double>(all[(all.size() - 1) * percent / 100]);
            const auto got = static_cast<double>(trips.quantile(percent).count());
            EXPECT_NEAR(got, exact, exact * 0.0005) << spread << " " << percent;
        }
    }
}

TEST(RoundTrips, FewAreExactAndTheEndsOfTheScaleHold) {
    const struct {
        std::vector<long long> times;
        std::size_t percent;
        long long quantile;
    } rows[] = {{{}, 50, 0},        {{123456789}, 50, 123456789},
                {{0, 2047}, 99, 0}, {{1023, 1024, 2047, 2047}, 50, 1024},
                {{-5}, 50, 0},      {{INT64_MAX}, 50, (1ll << 48) - 1}};
    for (const auto& row : rows) {
        RoundTrips trips;
        for (long long t : row.times) trips.add(Time(t));
        EXPECT_EQ(trips.quantile(row.percent).count(), row.quantile);
    }
}

}  // namespace
