#include "solvers/row_kernel.h"

#include "solvers/lanes.h"

#include <bit>
#include <cstring>
#include <functional>

namespace tarnel
{

typedef double four [[gnu::vector_size(32)]];

// One text for every processor, a number of type `wide` for each group.
template <class wide> inline constexpr std::size_t lanes_of = sizeof(wide) / sizeof(double);

template <class wide> [[gnu::always_inline]] static inline void load(wide& to, const double* from)
{
    std::memcpy(&to, from, sizeof to);
}

template <class wide> [[gnu::always_inline]] static inline void store(double* to, const wide& from)
{
    std::memcpy(to, &from, sizeof from);
}

// The places of a term's unknowns, two to a load: in cache the passes wait for loads and stores alone.
template <class wide> struct term_places {
    std::size_t at[lanes_of<wide>];
};

template <class wide> [[gnu::always_inline]] static inline term_places<wide> places_of(const std::int32_t unknown[])
{
    term_places<wide> places;
    if constexpr (lanes_of<wide> == 1) {
        places.at[0] = static_cast<std::uint32_t>(unknown[0]);
    } else {
        constexpr std::size_t low = std::endian::native == std::endian::little ? 0 : 1;
#pragma GCC unroll 2
        for (std::size_t k = 0; k < 4; k += 2) {
            std::uint64_t both;
            std::memcpy(&both, unknown + k, sizeof both);
            places.at[k + low] = static_cast<std::uint32_t>(both);
            places.at[k + 1 - low] = both >> 32U;
        }
    }
    return places;
}

template <class wide>
[[gnu::always_inline]] static inline void gather(wide& to, const double from[], const term_places<wide>& j)
{
    if constexpr (lanes_of<wide> == 1)
        to = from[j.at[0]];
    else
        to = wide{from[j.at[0]], from[j.at[1]], from[j.at[2]], from[j.at[3]]};
}

// to = to + term, or to - term, at places of which none comes twice, fillers apart.
template <class operation, class wide>
[[gnu::always_inline]] static inline void scatter(double to[], const term_places<wide>& j, const wide& term)
{
    constexpr operation combined;
    if constexpr (lanes_of<wide> == 1) {
        to[j.at[0]] = combined(to[j.at[0]], term);
    } else {
#pragma GCC unroll 4
        for (int k = 0; k < 4; ++k) to[j.at[k]] = combined(to[j.at[k]], term[k]);
    }
}

template <class wide> [[gnu::always_inline]] static inline void step(coupling_at& t, std::ptrdiff_t threes)
{
    t.place += threes;
    t.unknown += 3 * threes * static_cast<std::ptrdiff_t>(lanes_of<wide>);
    t.value += 3 * threes * static_cast<std::ptrdiff_t>(lanes_of<wide>);
}

// The processor finds the next terms of near caches by itself; those of memory where they ascend and not where they
// descend, nor in the next page.
template <class wide, terms_from from>
[[gnu::always_inline]] static inline void ask(const coupling_at& t, std::ptrdiff_t threes)
{
    if constexpr (from == terms_from::memory) {
        constexpr std::size_t lanes = lanes_of<wide>;
        const std::ptrdiff_t ahead = 3 * threes * static_cast<std::ptrdiff_t>(lanes);
        __builtin_prefetch(t.unknown + ahead);
        __builtin_prefetch(t.value + ahead);
        if constexpr (lanes > 1) __builtin_prefetch(t.value + ahead + 8); // 96 bytes of them
    }
}

template <class wide, terms_from from>
[[gnu::always_inline]] static inline void forward(coupling_at& at, double q[], std::size_t end)
{
    constexpr std::size_t lanes = lanes_of<wide>;
    coupling_at t = at;
    for (std::size_t i; (i = static_cast<std::uint32_t>(*t.place)) < end; step<wide>(t, 1)) {
        ask<wide, from>(t, threes_ahead);
        wide qi;
        load(qi, q + i);
#pragma GCC unroll 3
        for (std::size_t k = 0; k < 3; ++k) {
            wide term;
            load(term, t.value + k * lanes);
            scatter<std::minus<double>>(q, places_of<wide>(t.unknown + k * lanes), wide(qi * term));
        }
    }
    at = t;
}

// The products of a three's terms k with the unknowns that they couple.
template <class wide>
[[gnu::always_inline]] static inline void products(wide& to, const coupling_at& t, std::int64_t k, const double q[])
{
    wide value;
    load(value, t.value + k * static_cast<std::int64_t>(lanes_of<wide>));
    gather(to, q, places_of<wide>(t.unknown + k * static_cast<std::int64_t>(lanes_of<wide>)));
    to *= value;
}

// The divisions and the sums of r q run beside the substitution.
template <class wide, terms_from from>
[[gnu::always_inline]] static inline void backward(part_sums& sums, coupling_at t, const double pivots[],
                                                   const double r[], double q[], std::size_t places)
{
    for (std::size_t i = places; i > 0;) {
        i -= lanes_of<wide>;
        step<wide>(t, -1);
        std::int64_t threes = 1;
        for (; t.place[-1] == *t.place; ++threes) step<wide>(t, -1);
        ask<wide, from>(t, -threes_ahead);
        // (0 + a) + b = a + (b + 0), signed zeros included
        wide sum{}, first{}, last{};
        products(first, t, 0, q);
        products(sum, t, 1, q);
        products(last, t, 2, q);
        sum += 0.0;
        sum += first;
        sum += last;
        for (std::int64_t k = 3; k < 3 * threes; ++k) {
            wide term{};
            products(term, t, k, q);
            sum += term;
        }
        wide qi, ri, part;
        load(qi, q + i);
        if (pivots != nullptr) {
            wide pivot;
            load(pivot, pivots + i);
            qi /= pivot;
        }
        qi -= sum;
        store(q + i, qi);
        load(ri, r + i);
        load(part, sums.part + i % sum_parts);
        part += ri * qi;
        store(sums.part + i % sum_parts, part);
    }
}

// Where the processor's registers can hold its terms, each is loaded once: gcc would take it from memory as an operand
// of both its products, and the pass waits for loads.
enum class terms_are { loaded, held };
template <class wide, terms_from from, terms_are used = terms_are::loaded>
[[gnu::always_inline]] static inline void product(coupling_at& at, const double p[], double q[], std::size_t end)
{
    constexpr std::size_t lanes = lanes_of<wide>;
    coupling_at t = at;
    for (std::size_t i; (i = static_cast<std::uint32_t>(*t.place)) < end; step<wide>(t, 1)) {
        ask<wide, from>(t, threes_ahead);
        wide pi, qi;
        load(pi, p + i);
        load(qi, q + i);
#pragma GCC unroll 3
        for (std::size_t k = 0; k < 3; ++k) {
            wide a, pj{};
            load(a, t.value + k * lanes);
#if TARNEL_LANES >= 4 && !defined(__clang__)
            if constexpr (used == terms_are::held) asm("" : "+x"(a));
#endif
            const term_places<wide> j = places_of<wide>(t.unknown + k * lanes);
            gather(pj, p, j);
            qi += a * pj;
            scatter<std::plus<double>>(q, j, wide(a * pi));
        }
        store(q + i, qi);
    }
    at = t;
}

template <class wide, terms_from from> static void substitute_forward(coupling_at& at, double q[], std::size_t end)
{
    forward<wide, from>(at, q, end);
}

template <class wide, terms_from from>
static void substitute_backward(part_sums& sums, coupling_at end, const double pivots[], const double r[], double q[],
                                std::size_t places)
{
    backward<wide, from>(sums, end, pivots, r, q, places);
}

template <class wide, terms_from from>
static void multiply(coupling_at& at, const double p[], double q[], std::size_t end)
{
    product<wide, from>(at, p, q, end);
}

template <class wide, terms_from from>
static constexpr row_kernel plain = {substitute_forward<wide, from>, substitute_backward<wide, from>,
                                     multiply<wide, from>};

#if TARNEL_LANES >= 4

template <terms_from from>
[[gnu::target("avx2")]] static void substitute_forward_avx2(coupling_at& at, double q[], std::size_t end)
{
    forward<four, from>(at, q, end);
}

template <terms_from from>
[[gnu::target("avx2")]] static void substitute_backward_avx2(part_sums& sums, coupling_at end, const double pivots[],
                                                             const double r[], double q[], std::size_t places)
{
    backward<four, from>(sums, end, pivots, r, q, places);
}

template <terms_from from>
[[gnu::target("avx2")]] static void multiply_avx2(coupling_at& at, const double p[], double q[], std::size_t end)
{
    product<four, from, terms_are::held>(at, p, q, end);
}

template <terms_from from>
static constexpr row_kernel avx2 = {substitute_forward_avx2<from>, substitute_backward_avx2<from>, multiply_avx2<from>};

#endif

template <terms_from from> static const row_kernel& form_for(const vector_kernel& kernel, std::size_t lanes)
{
    if (lanes == 1) return plain<double, from>;
#if TARNEL_LANES >= 4
    if (&kernel != &portable_vector_kernel) return avx2<from>;
#else
    static_cast<void>(kernel);
#endif
    return plain<four, from>;
}

const row_kernel& row_kernel_for(const vector_kernel& kernel, const coupling_pattern& pattern)
{
    return pattern.from == terms_from::memory ? form_for<terms_from::memory>(kernel, pattern.lanes)
                                              : form_for<terms_from::cache>(kernel, pattern.lanes);
}

} // namespace tarnel
