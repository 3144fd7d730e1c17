// The passes of the conjugate gradients beside their definitions, bit for bit: by every order of the rows, by every
// form of the kernels.
#include "solvers/gradient_passes.h"

#include "solvers/sparse_systems.h"

#include <cstring>
#include <functional>

using namespace tarnel_test;

namespace
{

using gradient_passes = stage_test;

using vector_of_numbers = std::vector<double>;

// The sum in eight parts, the number at place i in part i mod 8; the order within a part is that of the pass.
double sum_by_parts(const vector_of_numbers& a, const vector_of_numbers& b, bool descending)
{
    double s[8] = {};
    for (std::size_t k = 0; k < a.size(); ++k) {
        const std::size_t i = descending ? a.size() - 1 - k : k;
        const double product = a[i] * b[i];
        s[i % 8] = s[i % 8] + product;
    }
    return ((s[0] + s[1]) + (s[2] + s[3])) + ((s[4] + s[5]) + (s[6] + s[7]));
}

// What a pass works on: a system, an order of its rows, a form of the kernels.
struct pass_case {
    const sparse_system& system;
    tarnel::row_order order;
    tarnel::coupling_pattern pattern;
    tarnel::owned_array<double> values;
    tarnel::gradient_vectors v;

    vector_of_numbers placed(const vector_of_numbers& numbers) const
    {
        vector_of_numbers by_place(order.places, 0.0);
        for (std::size_t i = 0; i < numbers.size(); ++i)
            by_place[static_cast<std::size_t>(order.place[i])] = numbers[i];
        return by_place;
    }
    double sum(const vector_of_numbers& a, const vector_of_numbers& b, bool descending) const
    {
        return sum_by_parts(placed(a), placed(b), descending);
    }
    void set(tarnel::owned_array<double>& vector, const vector_of_numbers& numbers) const
    {
        const vector_of_numbers by_place = placed(numbers);
        std::copy(by_place.begin(), by_place.end(), vector.get());
    }
    // Every place, the empty ones too.
    void expect(const tarnel::owned_array<double>& vector, const vector_of_numbers& numbers, const char* what) const
    {
        const vector_of_numbers by_place = placed(numbers);
        EXPECT_EQ(std::memcmp(vector.get(), by_place.data(), by_place.size() * sizeof(double)), 0)
            << what << " of " << numbers.size() << ", " << order.lanes << " lanes";
    }
};

// Rows of every kind, and systems of more than two blocks; signed zeros among the right-hand sides.
std::vector<sparse_system> systems_of_all_sizes()
{
    std::vector<sparse_system> systems = many_systems();
    for (const int n : {511, 512, 513, 1300}) systems.push_back(scaled_system(n, 0.006, static_cast<unsigned>(n)));
    systems.push_back(grid_system(7, 5));
    systems.push_back(grid_system(29, 45));
    for (sparse_system& system : systems)
        for (std::size_t i = 0; i < system.b.size(); i += 5) system.b[i] = i % 2 == 0 ? -0.0 : 0.0;
    return systems;
}

// Calls `check` for each system, order and form of the kernels.
void for_each_case(const std::function<void(pass_case&)>& check)
{
    const tarnel::vector_kernels kernels = tarnel::available_vector_kernels();
    int side_by_side = 0;
    for (const sparse_system& system : systems_of_all_sizes())
        for (const bool as_they_stand : {true, false})
            for (int k = 0; k < 2 * kernels.count; ++k)
                run_stage([&](std::FILE* log) {
                    const tarnel::matrix_rows rows = flat_rows(system, log);
                    tarnel::row_order order = as_they_stand ? tarnel::rows_as_they_stand(log, "order", system.b.size())
                                                            : tarnel::order_rows(log, "order", rows);
                    side_by_side += order.lanes > 1 ? 1 : 0;
                    tarnel::coupling_pattern pattern = make_coupling_pattern(log, "pattern", rows, order);
                    EXPECT_EQ(pattern.from, tarnel::terms_from::cache);
                    if (k % 2 == 1) pattern.from = tarnel::terms_from::memory;
                    tarnel::owned_array<double> values =
                        make_coupling_values(log, "values", pattern, rows, order, rows.amatr.get());
                    const auto zeros = [&] { return tarnel::vector_of_places(log, "vector", order); };
                    tarnel::gradient_vectors v{
                        .x = zeros(), .p = zeros(), .q = zeros(), .r = zeros(), .kernel = kernels.form[k / 2]};
                    pass_case each{system, std::move(order), std::move(pattern), std::move(values), std::move(v)};
                    check(each);
                });
    EXPECT_GE(side_by_side, 10 * kernels.count);
}

vector_of_numbers product_by_definition(const sparse_system& system, const vector_of_numbers& p)
{
    vector_of_numbers q = p;
    for (std::size_t i = 0; i < p.size(); ++i)
        for (std::size_t k = 1; k < system.columns[i].size(); ++k) {
            const auto j = static_cast<std::size_t>(system.columns[i][k]);
            q[i] += system.values[i][k] * p[j];
            q[j] += system.values[i][k] * p[i];
        }
    return q;
}

} // namespace

TEST_F(gradient_passes, product_has_a_unit_diagonal_and_is_its_definition_bit_for_bit)
{
    for_each_case([](pass_case& c) {
        vector_of_numbers p = c.system.b, q = product_by_definition(c.system, p), x(p.size(), 0.0);
        c.set(c.v.q, c.system.b);
        EXPECT_EQ(first_product_pass(c.v, c.pattern, c.values.get(), c.v.q.get()), c.sum(p, q, false));
        c.expect(c.v.p, p, "first p");
        c.expect(c.v.q, q, "first q");

        // q stands for the preconditioned residual now
        const double alpha = 0.7, beta = -1.3;
        for (std::size_t i = 0; i < p.size(); ++i) {
            x[i] = x[i] + alpha * p[i];
            p[i] = q[i] + beta * p[i];
        }
        q = product_by_definition(c.system, p);
        EXPECT_EQ(product_pass(c.v, c.pattern, c.values.get(), c.v.q.get(), alpha, beta), c.sum(p, q, false));
        c.expect(c.v.x, x, "x");
        c.expect(c.v.p, p, "p");
        c.expect(c.v.q, q, "q");
    });
}

TEST_F(gradient_passes, solution_with_the_factors_is_its_definition_bit_for_bit)
{
    for (const bool divided : {true, false})
        for_each_case([divided](pass_case& c) {
            const sparse_system& system = c.system;
            const std::size_t n = system.b.size();
            vector_of_numbers pivots(c.order.places, 1.0);
            for (std::size_t i = 0; i < n; ++i)
                pivots[static_cast<std::size_t>(c.order.place[i])] = system.values[i][0];
            const auto substitute = [&](vector_of_numbers z) {
                for (std::size_t i = 0; i < n; ++i)
                    for (std::size_t k = 1; k < system.columns[i].size(); ++k)
                        z[static_cast<std::size_t>(system.columns[i][k])] -= z[i] * system.values[i][k];
                for (std::size_t i = 0; i < n && divided; ++i) z[i] = z[i] / system.values[i][0];
                for (std::size_t i = n - 1; i-- > 0;) {
                    double sum = 0;
                    for (std::size_t k = 1; k < system.columns[i].size(); ++k)
                        sum += z[static_cast<std::size_t>(system.columns[i][k])] * system.values[i][k];
                    z[i] -= sum;
                }
                return z;
            };
            c.set(c.v.r, system.b);
            first_forward_pass(c.v, c.pattern, c.values.get());
            const double* d = divided ? pivots.data() : nullptr;
            vector_of_numbers z = substitute(system.b);
            EXPECT_EQ(backward_pass(c.v, c.pattern, c.values.get(), d), c.sum(system.b, z, true));
            c.expect(c.v.q, z, "first z");

            // q stands for A p now
            const double alpha = 0.3;
            vector_of_numbers r = system.b;
            for (std::size_t i = 0; i < n; ++i) r[i] = r[i] - alpha * z[i];
            EXPECT_EQ(forward_pass(c.v, c.pattern, c.values.get(), alpha), c.sum(r, r, false));
            c.expect(c.v.r, r, "r");
            z = substitute(r);
            EXPECT_EQ(backward_pass(c.v, c.pattern, c.values.get(), d), c.sum(r, z, true));
            c.expect(c.v.q, z, "z");
        });
}

TEST_F(gradient_passes, without_a_factor_the_residual_stands_for_itself)
{
    const sparse_system system = scaled_system(3, 1.0, 1);
    run_stage([&](std::FILE* log) {
        const tarnel::matrix_rows rows = flat_rows(system, log);
        const tarnel::row_order order = tarnel::rows_as_they_stand(log, "order", 3);
        const tarnel::coupling_pattern pattern = make_coupling_pattern(log, "pattern", rows, order);
        const tarnel::owned_array<double> values =
            make_coupling_values(log, "values", pattern, rows, order, rows.amatr.get());
        const auto zeros = [&] { return tarnel::vector_of_places(log, "vector", order); };
        tarnel::gradient_vectors v{.x = zeros(), .p = zeros(), .q = zeros(), .r = zeros()};
        for (std::size_t i = 0; i < 3; ++i) v.r[i] = static_cast<double>(i + 1);
        const auto numbers_of = [](const tarnel::owned_array<double>& vector) {
            return vector_of_numbers(vector.get(), vector.get() + 3);
        };
        const double* z = residual_for(v, nullptr);
        EXPECT_EQ(z, v.r.get());
        first_forward_pass(v, pattern, nullptr);
        EXPECT_EQ(numbers_of(v.r), (vector_of_numbers{1, 2, 3}));
        const vector_of_numbers first = product_by_definition(system, {1, 2, 3});
        first_product_pass(v, pattern, values.get(), z);
        EXPECT_EQ(numbers_of(v.p), (vector_of_numbers{1, 2, 3}));
        EXPECT_EQ(numbers_of(v.q), first);

        for (std::size_t i = 0; i < 3; ++i) v.q[i] = v.r[i];
        EXPECT_EQ(forward_pass(v, pattern, nullptr, 2.0), 14.0); // r - 2 r
        EXPECT_EQ(numbers_of(v.r), (vector_of_numbers{-1, -2, -3}));
        product_pass(v, pattern, values.get(), z, 5.0, 3.0); // p = r + 3 p
        EXPECT_EQ(numbers_of(v.x), (vector_of_numbers{5, 10, 15}));
        EXPECT_EQ(numbers_of(v.p), (vector_of_numbers{2, 4, 6}));
        EXPECT_EQ(numbers_of(v.q), product_by_definition(system, {2, 4, 6}));
        EXPECT_EQ(numbers_of(v.r), (vector_of_numbers{-1, -2, -3}));
    });
}

namespace
{

bool same_bits(const vector_of_numbers& a, const vector_of_numbers& b)
{
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0);
}

} // namespace

TEST_F(gradient_passes, terms_of_more_than_a_near_cache_come_from_memory)
{
    // 12 bytes a place of a term; a grid's groups take three terms a row and are nearly full
    for (const int height : {570, 590}) {
        const auto from = height < 580 ? tarnel::terms_from::cache : tarnel::terms_from::memory;
        run_stage([&](std::FILE* log) {
            const tarnel::matrix_rows rows = flat_rows(grid_system(200, height), log);
            const tarnel::row_order order = tarnel::order_rows(log, "order", rows);
            const tarnel::coupling_pattern pattern = make_coupling_pattern(log, "pattern", rows, order);
            EXPECT_EQ(pattern.threes * pattern.lanes * 36 > tarnel::near_bytes, from == tarnel::terms_from::memory);
            EXPECT_EQ(pattern.from, from);
        });
    }
}

TEST_F(gradient_passes, vectors_are_passed_over_with_the_same_bits_by_every_kernel)
{
    std::mt19937 random(11);
    std::normal_distribution<double> normal;
    const tarnel::vector_kernels kernels = tarnel::available_vector_kernels();
    EXPECT_EQ(kernels.form[kernels.count - 1], &tarnel::portable_vector_kernel);
    EXPECT_EQ(kernels.form[0], &tarnel::fastest_vector_kernel());
    for (const std::size_t end : {0U, 1U, 7U, 8U, 9U, 16U, 61U, 200U}) {
        vector_of_numbers x(end), p(end), q(end), r(end);
        for (vector_of_numbers* vector : {&x, &p, &q, &r})
            for (double& value : *vector) value = normal(random);
        for (int k = 0; k < kernels.count; ++k) {
            vector_of_numbers xk = x, pk = p, qk = q, rk = r;
            tarnel::part_sums products, squares;
            kernels.form[k]->add_products(products, x.data(), p.data(), 0, end);
            EXPECT_EQ(total(products), sum_by_parts(x, p, false)) << end;
            kernels.form[k]->update_residual(squares, 0.3, rk.data(), qk.data(), qk.data(), 0, end);
            vector_of_numbers expected = r, alone = r;
            for (std::size_t i = 0; i < end; ++i) {
                const double step = 0.3 * q[i];
                expected[i] = r[i] - step;
            }
            EXPECT_TRUE(same_bits(rk, expected)) << end;
            EXPECT_TRUE(same_bits(qk, expected)) << end;
            EXPECT_EQ(total(squares), sum_by_parts(expected, expected, false)) << end;
            tarnel::part_sums squares_alone;
            kernels.form[k]->update_residual(squares_alone, 0.3, alone.data(), q.data(), alone.data(), 0, end);
            EXPECT_TRUE(same_bits(alone, expected)) << end;
            EXPECT_EQ(total(squares_alone), total(squares)) << end;

            qk = q;
            kernels.form[k]->update_direction(0.7, -1.1, xk.data(), pk.data(), qk.data(), qk.data(), 0, end);
            vector_of_numbers position = x, direction = p;
            for (std::size_t i = 0; i < end; ++i) {
                const double step = 0.7 * p[i], part = -1.1 * p[i];
                position[i] = x[i] + step;
                direction[i] = q[i] + part;
            }
            EXPECT_TRUE(same_bits(xk, position)) << end;
            EXPECT_TRUE(same_bits(pk, direction)) << end;
            EXPECT_TRUE(same_bits(qk, direction)) << end;
            xk = x, pk = p;
            kernels.form[k]->update_direction(0.7, -1.1, xk.data(), pk.data(), q.data(), rk.data(), 0, end);
            EXPECT_TRUE(same_bits(xk, position)) << end;
            EXPECT_TRUE(same_bits(pk, direction)) << end;
            EXPECT_TRUE(same_bits(rk, direction)) << end;
        }
    }
}
