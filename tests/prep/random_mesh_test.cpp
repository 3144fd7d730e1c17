// Random meshes against a construction that shares nothing with the stages: maps from numbers, sets of pairs.
#include "prep/felm_cntr.h"
#include "prep/matrix_index.h"
#include "prep/node_struct.h"
#include "prep/work_files.h"

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <utility>

#include <sys/resource.h>

using namespace tarnel_test;
using random_mesh = stage_test;

struct mesh_felm {
    int noe, type;
    std::vector<int> nodes;
};

struct mesh {
    std::vector<std::pair<int, double>> nodes; // number and x = y, in file order; the last of a number stands
    std::vector<mesh_felm> felms;
    std::vector<condition> conditions;
};

static int below(std::mt19937& random, int n)
{
    return static_cast<int>(random() % static_cast<unsigned>(n));
}

// Distinct node numbers: without a gap, with a few, or far apart.
static std::vector<int> random_numbers(std::mt19937& random, int n)
{
    const int spread[] = {1, 3, 40, 10000000};
    const int step = spread[random() % 4];
    std::vector<int> numbers;
    int number = random() % 2 == 0 ? 0 : below(random, 1000);
    for (int k = 0; k < n; ++k) numbers.push_back(number += 1 + below(random, step));
    return numbers;
}

static mesh random_model(unsigned seed)
{
    std::mt19937 random(seed);
    mesh m;
    std::vector<int> numbers = random_numbers(random, 9 + below(random, 70));
    const int n = static_cast<int>(numbers.size());
    const auto any = [&] { return numbers[static_cast<std::size_t>(below(random, n))]; };
    if (random() % 2 == 0) std::shuffle(numbers.begin(), numbers.end(), random);
    for (const int number : numbers) m.nodes.emplace_back(number, below(random, 64));
    for (int k = below(random, 4); k > 0; --k) // some numbers once more
        m.nodes.insert(m.nodes.begin() + below(random, n), {any(), below(random, 64)});
    const std::pair<int, int> types[] = {{203, 3}, {204, 4}, {206, 6}, {208, 8}};
    for (int k = 1 + below(random, 60); k > 0; --k) {
        const auto [type, count] = types[random() % 4];
        std::set<int> chosen;
        while (static_cast<int>(chosen.size()) < count) chosen.insert(any());
        m.felms.push_back({k, type, {chosen.begin(), chosen.end()}});
        std::shuffle(m.felms.back().nodes.begin(), m.felms.back().nodes.end(), random);
    }
    // Conditions: fixed nodes, dependent nodes on nodes without a condition, and dependent nodes on these.
    std::set<int> used;
    for (const mesh_felm& felm : m.felms) used.insert(felm.nodes.begin(), felm.nodes.end());
    const int kept = *used.begin();
    std::set<int> fixed;
    std::map<int, int> dependent;
    for (const int number : numbers)
        if (number != kept && random() % 5 == 0) fixed.insert(number);
    std::vector<int> free;
    for (const int number : used)
        if (!fixed.contains(number)) free.push_back(number);
    const std::size_t independent = 1 + free.size() / 2;
    for (std::size_t k = independent; k < free.size(); ++k)
        if (random() % 2 == 0) dependent[free[k]] = free[random() % independent];
    for (std::size_t k = independent; k < free.size(); ++k) // a chain upwards
        if (!dependent.contains(free[k]) && !dependent.empty() && dependent.begin()->first < free[k] &&
            random() % 3 == 0)
            dependent[free[k]] = dependent.begin()->first;
    for (const int number : fixed) m.conditions.push_back({number, 0.25 * below(random, 9), 0, 2});
    for (const auto& [number, on] : dependent) m.conditions.push_back({number, 0.5, on, 1.0 + below(random, 3)});
    std::shuffle(m.conditions.begin(), m.conditions.end(), random);
    if (!m.conditions.empty() && random() % 2 == 0) // one that a later one replaces
        m.conditions.insert(m.conditions.begin(), {m.conditions.back().nog, 77, kept, 77});
    return m;
}

// Unknown numbers by node, by the rules read as sentences.
static std::map<int, int> expected_numbers(const mesh& m, std::map<int, condition>& last)
{
    std::set<int> used;
    for (const mesh_felm& felm : m.felms) used.insert(felm.nodes.begin(), felm.nodes.end());
    for (const condition& c : m.conditions) last[c.nog] = c;
    std::map<int, int> nufai;
    int ndim = 0;
    for (const int node : used) nufai[node] = last.contains(node) ? -1 : ++ndim;
    for (const int node : used)
        if (last.contains(node) && last[node].noi > 0) nufai[node] = nufai.at(last[node].noi);
    return nufai;
}

static std::string expected_node_struct(const mesh& m)
{
    std::map<int, condition> last;
    const std::map<int, int> nufai = expected_numbers(m, last);
    std::map<int, double> place;
    for (const auto& [number, x] : m.nodes) place[number] = x;
    std::string text;
    for (const auto& [number, x] : place) {
        const bool used = nufai.contains(number), free = used && !last.contains(number);
        const double fai0 = last.contains(number) ? last[number].fai0 : 0;
        const double acoef = last.contains(number) ? last[number].acoef : free ? 1 : 0;
        text += node_struct_record(number, x, x, used ? nufai.at(number) : 0, fai0, acoef);
    }
    return text + node_struct_end;
}

static std::string expected_index(const mesh& m, int& longest)
{
    std::map<int, condition> last;
    const std::map<int, int> nufai = expected_numbers(m, last);
    std::map<int, std::set<int>> rows;
    for (const mesh_felm& felm : m.felms)
        for (const int a : felm.nodes)
            for (const int b : felm.nodes) {
                const int i = nufai.at(a) - 1, j = nufai.at(b) - 1;
                if (i >= 0 && j >= i) rows[i].insert(j);
            }
    const int ndim = static_cast<int>(rows.size());
    bytes file;
    file.add_i(ndim);
    longest = 0;
    for (const auto& [i, columns] : rows) {
        longest = std::max(longest, static_cast<int>(columns.size()));
        file.add_i(static_cast<int>(columns.size()));
        for (const int j : columns) file.add_i(j);
    }
    return file.add_i(ndim).text();
}

static std::string node_file(const mesh& m)
{
    std::string text;
    for (const auto& [number, x] : m.nodes) text += node_record(number, x, x, 3);
    return text + node_end;
}
static std::string felm_file(const mesh& m)
{
    std::string text;
    for (const mesh_felm& felm : m.felms) text += felm_record(felm.noe, felm.type, felm.nodes);
    return text + felm_end;
}

static tarnel::control large_limits()
{
    tarnel::control cntl = small_control();
    cntl.maxnog = cntl.maxfelm = cntl.maxdim = cntl.maxprp = cntl.maxbelm = cntl.maxedg = 900000000;
    cntl.maxnzero = 10000;
    return cntl;
}

static file_outcome number_nodes(const tarnel::control& cntl)
{
    opened_input nodes("t-nodes-struct.tmp"), felms("t-felms-struct.tmp"), fixed("at-fixc-data.tmp");
    return run_writing("at-node-struct.tmp", [&](tarnel::output_file& out, std::FILE* log) {
        tarnel::eat_set_node_struct(cntl, {nodes, felms, fixed, out}, log);
    });
}
static file_outcome make_index(const tarnel::control& cntl)
{
    opened_input nodes("at-node-struct.tmp"), felms("t-felms-struct.tmp");
    return run_writing("t-matrix-index.tmp", [&](tarnel::output_file& out, std::FILE* log) {
        tarnel::eat_set_matrix_index(cntl, {nodes, felms, out}, log);
    });
}

TEST_F(random_mesh, numbering_and_pattern_agree_with_sets_of_pairs)
{
    tarnel::control cntl = large_limits();
    int shared = 0, sparse = 0;
    for (unsigned seed = 1; seed <= 120; ++seed) {
        SCOPED_TRACE(seed);
        const mesh m = random_model(seed);
        renew_file("t-nodes-struct.tmp", node_file(m));
        renew_file("t-felms-struct.tmp", felm_file(m));
        renew_file("at-fixc-data.tmp", conditions(m.conditions));
        const file_outcome numbered = number_nodes(cntl);
        ASSERT_FALSE(numbered.failed) << numbered.log;
        ASSERT_TRUE(numbered.file == expected_node_struct(m));

        renew_file("at-node-struct.tmp", numbered.file);
        int longest = 0;
        const std::string expected = expected_index(m, longest);
        cntl.maxnzero = longest;
        const file_outcome index = make_index(cntl);
        ASSERT_FALSE(index.failed) << index.log;
        ASSERT_TRUE(index.file == expected);
        if (longest > 1) {
            cntl.maxnzero = longest - 1;
            const file_outcome full = make_index(cntl);
            EXPECT_TRUE(full.failed);
            EXPECT_EQ(full.log, "    === in func. eat_set_matrix_index ===\n"
                                "      Error. no. of non-zero term. over the limit.\n");
        }
        for (const condition& c : m.conditions) shared += c.noi > 0 ? 1 : 0;
        sparse += m.nodes.back().first > 100000 ? 1 : 0;
    }
    EXPECT_GT(shared, 100); // the meshes do hold what they are for
    EXPECT_GT(sparse, 10);
}

TEST_F(random_mesh, centres_of_quadrilaterals_are_the_mean_of_their_nodes)
{
    for (unsigned seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE(seed);
        const mesh m = random_model(seed);
        std::map<int, double> place;
        for (const auto& [number, x] : m.nodes) place[number] = x;
        bytes expected;
        std::string felms;
        for (const mesh_felm& felm : m.felms) {
            if (felm.type != 204) continue;
            felms += felm_record(felm.noe, felm.type, felm.nodes);
            double sum = 0;
            for (const int node : felm.nodes) sum += place.at(node);
            expected.add_i(felm.noe).add_d(sum / 4).add_d(sum / 4).add_d(0);
        }
        renew_file("t-nodes-struct.tmp", node_file(m));
        renew_file("t-felms-struct.tmp", felms + felm_end);
        opened_input nodes("t-nodes-struct.tmp"), elements("t-felms-struct.tmp");
        const file_outcome centres = run_writing("t-felm-cntr.tmp", [&](tarnel::output_file& out, std::FILE* log) {
            tarnel::t_set_felm_cntr(large_limits(), {nodes, elements, out}, log);
        });
        EXPECT_TRUE(centres.file == expected.add_i(0).text());
    }
}

TEST_F(random_mesh, limits_of_900_million_touch_no_memory_of_their_size)
{
    const auto peak_kib = [] {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        return usage.ru_maxrss;
    };
    const mesh m = random_model(4);
    renew_file("t-nodes-struct.tmp", node_file(m));
    renew_file("t-felms-struct.tmp", felm_file(m));
    renew_file("at-fixc-data.tmp", conditions(m.conditions));
    const long before = peak_kib();
    const file_outcome numbered = number_nodes(large_limits());
    renew_file("at-node-struct.tmp", numbered.file);
    const file_outcome index = make_index(large_limits());
    EXPECT_FALSE(index.failed);
    EXPECT_LT(peak_kib() - before, 32 * 1024);
}
