#include "prep/felm_struct.h"
#include "prep/work_files.h"

#include <array>
#include <cmath>
#include <limits>

using namespace tarnel_test;
using felm_struct = stage_test;

static const std::string heading = "    === in func. eat_set_felm_struct ===\n";
constexpr double mu0 = 1.25663704e-06; // truncated magnetic constant, out of the plane [H/m]

using vector3 = std::array<double, 3>;

struct property {
    int nop = 1, iptv = 0, iflg = 0, ij0v = 0;
    double mu = 1;
    vector3 bvec = {}, hvec = {}, j0vec = {};
    double sigma = 0;
    int lnob = 0, lnoh = 0;
};
static std::string property_record(const property& p)
{
    bytes record;
    record.add_i(p.nop).add_i(p.iptv).add_i(p.iflg).add_i(p.ij0v).add_d(p.mu);
    for (const vector3& v : {p.bvec, p.hvec, p.j0vec}) record.add(v);
    return record.add_d(p.sigma).add_i(p.lnob).add_i(p.lnoh).add_i(0).add_i(0).text();
}

// Local x, y, z axes along global y, z, x.
static std::string system_record(int lno, int type, const vector3& origin = {})
{
    const double rotation[9] = {0, 0, 1, 1, 0, 0, 0, 1, 0};
    return bytes().add_i(lno).add_i(type).add(origin).add(rotation).text();
}
static std::string centre_record(int noe, const vector3& centre = {})
{
    return bytes().add_i(noe).add(centre).text();
}
static std::string tensor_record(int noe, int use, const std::array<double, 4>& t, double bx = 0, double by = 0)
{
    bytes record;
    record.add_i(noe).add_i(use).add_d(t[0]).add_d(t[1]).add_d(1e99).add_d(t[2]).add_d(t[3]);
    for (int k = 0; k < 4; ++k) record.add_d(1e99);
    return record.add_d(bx).add_d(by).add_d(1e99).text();
}
static std::string current_record(int noe, int use, const vector3& j0vec)
{
    return bytes().add_i(noe).add_i(use).add(j0vec).text();
}

static const std::string property_end(120, '\0');
static const std::string system_end(104, '\0');

struct files {
    std::string felms = felm_record(1, 203, {1, 2, 3}) + felm_end;
    std::string properties = property_record({}) + property_end;
    std::string systems = system_end;
    std::string centres = centre_record(1) + std::string(4, '\0');
    std::string tensors, currents; // read when the switch says so
    int iopt_proptv = 0, iopt_j0vect = 0;
    int maxfelm = 100, maxprp = 100;
    double eps_zero = 1e-60;

    file_outcome join() const
    {
        write_all();
        return run_writing("at-felm-struct.tmp", [this](tarnel::output_file& out, std::FILE* log) { call(out, log); });
    }
    stage_outcome join_on_full_device(std::size_t room) const
    {
        write_all();
        return run_on_full_device("at-felm-struct.tmp", room,
                                  [this](tarnel::output_file& out, std::FILE* log) { call(out, log); });
    }

private:
    void write_all() const
    {
        renew_file("t-felms-struct.tmp", felms);
        renew_file("at-prop-struct.tmp", properties);
        renew_file("t-lcs-struct.tmp", systems);
        renew_file("t-felm-cntr.tmp", centres);
        renew_file("at-proptv-struct.tmp", tensors);
        renew_file("at-j0vect-struct.tmp", currents);
    }
    void call(tarnel::output_file& out, std::FILE* log) const
    {
        tarnel::control cntl = small_control();
        cntl.iopt_proptv = iopt_proptv, cntl.iopt_j0vect = iopt_j0vect;
        cntl.maxfelm = maxfelm, cntl.maxprp = maxprp;
        cntl.eps_zero = eps_zero;
        opened_input felm("t-felms-struct.tmp"), prop("at-prop-struct.tmp"), lcs("t-lcs-struct.tmp"),
            cntr("t-felm-cntr.tmp"), proptv("at-proptv-struct.tmp"), j0vect("at-j0vect-struct.tmp");
        tarnel::eat_set_felm_struct(
            cntl,
            {felm, prop, iopt_proptv == 1 ? &proptv : nullptr, iopt_j0vect == 1 ? &j0vect : nullptr, lcs, cntr, out},
            log);
    }
};

static void expect_joined(const file_outcome& outcome, std::size_t elements)
{
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.log, heading);
    ASSERT_EQ(outcome.file.size(), 256 * (elements + 1));
    EXPECT_EQ(outcome.file.substr(256 * elements), std::string(256, '\0'));
}
static void expect_refused(const file_outcome& outcome, const std::string& tail)
{
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.log, heading + tail);
}
static void expect_doubles(const std::string& file, std::size_t offset, const std::vector<double>& values)
{
    for (std::size_t k = 0; k < values.size(); ++k)
        EXPECT_EQ(double_at(file, offset + 8 * k), values[k]) << "offset " << offset << " + 8 * " << k;
}
static void expect_refused_unwritten(const file_outcome& outcome, const std::string& tail)
{
    expect_refused(outcome, tail);
    EXPECT_EQ(outcome.file, "");
}
static const std::string bad_tensor = "      Error. mu_tens is illegal.\n             noe = 1 \n";

TEST_F(felm_struct, end_records_alone_give_the_end_record)
{
    files f;
    f.felms = felm_end, f.properties = property_end, f.centres = "";
    expect_joined(f.join(), 0);
}

TEST_F(felm_struct, record_is_laid_out_by_offset)
{
    files f;
    f.maxfelm = 1000;
    const std::string felm =
        felm_record(777, 206, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20}, 4);
    f.felms = felm + felm_end;
    f.properties =
        property_record(
            {.nop = 4, .iflg = 1, .mu = 0.25, .bvec = {1, 2, 5}, .hvec = {3, 4, 5}, .j0vec = {6, 7, 8}, .sigma = 9}) +
        property_end;
    f.centres = centre_record(777) + std::string(4, '\0');
    const file_outcome outcome = f.join();
    expect_joined(outcome, 1);
    EXPECT_EQ(outcome.file.substr(0, 92), felm); // number, type, property and nodes as they are
    EXPECT_EQ(int_at(outcome.file, 92), 0);
    expect_doubles(outcome.file, 96, {4, 0, 0, 0, 4, 0, 0, 0, 1 / mu0});
    expect_doubles(outcome.file, 168, {4, 8, 0}); // without the first vector's z
    expect_doubles(outcome.file, 192, {3, 4, 5}); // the second keeps its
    expect_doubles(outcome.file, 216, {6, 7, 8});
    expect_doubles(outcome.file, 240, {9});
    EXPECT_EQ(int_at(outcome.file, 248), 1);
    EXPECT_EQ(int_at(outcome.file, 252), 0);
}

TEST_F(felm_struct, isotropic_material_is_inverted)
{
    files f;
    f.properties = property_record({.mu = 1.25663704e-06 * 1000, .bvec = {1, 0, 5}}) + property_end;
    const file_outcome outcome = f.join();
    expect_joined(outcome, 1);
    const double mu = 1.25663704e-03;
    const double expected[9] = {1 / mu, 0, 0, 0, 1 / mu, 0, 0, 0, 1 / 1.25663704e-06};
    for (std::size_t k = 0; k < 9; ++k) EXPECT_DOUBLE_EQ(double_at(outcome.file, 96 + 8 * k), expected[k]);
    EXPECT_DOUBLE_EQ(double_at(outcome.file, 168), 1 / mu);
    expect_doubles(outcome.file, 176, {0, 0});
}

TEST_F(felm_struct, all_planar_types_and_no_others_are_joined)
{
    files f;
    for (const int code : {203, 204, 206, 208}) {
        f.felms = felm_record(1, code, {1, 2, 3}) + felm_end;
        const file_outcome outcome = f.join();
        expect_joined(outcome, 1);
        EXPECT_EQ(int_at(outcome.file, 4), code);
    }
    for (const int code : {0, 102, 202, 205, 207, 209, 304, 306, 308, 310, 315, 320}) {
        f.felms = felm_record(1, code, {1, 2, 3}) + felm_end;
        expect_refused_unwritten(f.join(), bad_type(1, " "));
    }
}

TEST_F(felm_struct, elements_stand_in_file_order)
{
    files f;
    f.felms = felm_record(9, 203, {1, 2, 3}, 2) + felm_record(3, 203, {1, 2, 3}, 5) +
              felm_record(9, 203, {1, 2, 3}, 2) + felm_end;
    f.properties = property_record({.nop = 5, .mu = 0.5}) + property_record({.nop = 2, .mu = 8}) +
                   property_record({.nop = 5, .mu = 2}) + property_end; // the last of a number stands
    f.centres = centre_record(9) + centre_record(3) + centre_record(9);
    const file_outcome outcome = f.join();
    expect_joined(outcome, 3);
    for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_EQ(int_at(outcome.file, 256 * k), k == 1 ? 3 : 9);
        EXPECT_EQ(double_at(outcome.file, 256 * k + 96), k == 1 ? 0.5 : 0.125);
    }
}

TEST_F(felm_struct, vectors_of_cartesian_systems_are_turned)
{
    files f;
    f.systems = system_record(1, 0, {100, 200, 300}) + system_end;
    f.properties =
        property_record({.mu = 0.5, .bvec = {1, 2, 4}, .hvec = {8, 16, 32}, .lnob = 1, .lnoh = 1}) + property_end;
    const file_outcome outcome = f.join(); // x along y, y along z, z along x
    expect_joined(outcome, 1);
    expect_doubles(outcome.file, 168, {8, 2, 0}); // (4, 1, 2): z is dropped after the turn
    expect_doubles(outcome.file, 192, {32, 8, 16});
    f.properties = property_record({.mu = 0.5, .bvec = {1, 2, 4}, .hvec = {8, 16, 32}, .lnoh = 1}) + property_end;
    const file_outcome second = f.join();
    expect_doubles(second.file, 168, {2, 4, 0});
    expect_doubles(second.file, 192, {32, 8, 16});
}

TEST_F(felm_struct, vectors_of_cylindrical_systems_turn_with_the_centre)
{
    files f;
    f.systems = system_record(8, 1, {1, 2, 3}) + system_end;
    f.properties = property_record({.bvec = {3, 5, 7}, .hvec = {3, 5, 7}, .lnob = 8, .lnoh = 8}) + property_end;
    const struct {
        double lx, ly;    // of the centre, in the system
        vector3 expected; // radial 3, tangential 5, axial 7 in global components
    } rows[] = {{4, 0, {7, 3, 5}}, {0, 4, {7, -5, 3}}, {-4, 0, {7, -3, -5}}, {0, -4, {7, 5, -3}}, {0, 0, {7, 3, 5}}};
    for (const auto& row : rows) {
        f.centres = centre_record(1, {1 + 64, 2 + row.lx, 3 + row.ly});
        const file_outcome outcome = f.join();
        expect_joined(outcome, 1);
        expect_doubles(outcome.file, 168, {row.expected[0], row.expected[1], 0});
        expect_doubles(outcome.file, 192, {row.expected[0], row.expected[1], row.expected[2]});
    }
}

TEST_F(felm_struct, centre_counts_as_on_the_axis_up_to_the_threshold)
{
    files f;
    f.systems = system_record(8, 1) + system_end;
    f.properties = property_record({.mu = 8192, .hvec = {3, 5, 7}, .lnoh = 8}) + property_end;
    f.centres = centre_record(1, {0, 0, 2}); // ly = 2, squared distance 4
    f.eps_zero = 4;
    expect_doubles(f.join().file, 192, {7, 3, 5});
    f.eps_zero = std::nextafter(4.0, 0.0);
    expect_doubles(f.join().file, 192, {7, -5, 3});
}

TEST_F(felm_struct, systems_must_be_defined_and_within_the_limit)
{
    files f;
    f.maxprp = 9;
    f.systems = system_record(8, 0) + system_end;
    const auto with = [&](int lnob, int lnoh) {
        f.properties = property_record({.lnob = lnob, .lnoh = lnoh}) + property_end;
        return f.join();
    };
    const auto undefined = [](int lno) {
        return "      Error. lcs_data not defined. lno = " + std::to_string(lno) + " \n";
    };
    const auto over = [](const std::string& name, int lno) {
        return "      Error. " + name + " no. over the limit.\n             nop = 1 " + name + " = " +
               std::to_string(lno) + " \n";
    };
    expect_joined(with(8, 8), 1);
    expect_refused_unwritten(with(9, 0), undefined(9));
    expect_refused_unwritten(with(0, 9), undefined(9));
    expect_refused_unwritten(with(7, 9), undefined(7));
    for (const int bad : {-1, 10}) {
        expect_refused_unwritten(with(bad, 0), over("lnob", bad));
        expect_refused_unwritten(with(0, bad), over("lnoh", bad));
        expect_refused_unwritten(with(bad, 77), over("lnob", bad));
        expect_refused_unwritten(with(9, bad),
                                 over("lnoh", bad)); // both numbers are looked at before a system is fetched
    }
}

TEST_F(felm_struct, property_of_an_element_must_be_defined_and_within_the_limit)
{
    files f;
    f.maxprp = 9;
    f.properties = property_record({.nop = 3}) + property_record({.nop = 9}) + property_end;
    const auto with = [&](int nop) {
        f.felms = felm_record(1, 203, {1, 2, 3}, nop) + felm_end;
        return f.join();
    };
    expect_joined(with(9), 1);
    expect_joined(with(3), 1);
    for (const int bad : {0, -1, 10, std::numeric_limits<std::int32_t>::max()})
        expect_refused_unwritten(
            with(bad), "      Error. prop no. over the limit.\n             nop = " + std::to_string(bad) + " \n");
    for (const int none : {1, 4, 8})
        expect_refused_unwritten(
            with(none), "      Error. prop data not defined.\n             nop = " + std::to_string(none) + " \n");
}

TEST_F(felm_struct, tensor_by_element_replaces_the_plane_of_the_property)
{
    files f;
    f.iopt_proptv = 1;
    f.properties = property_record({.iptv = 1, .mu = 0.5, .bvec = {1, 2, 5}, .hvec = {3, 4, 5}}) + property_end;
    // [4 2; 1 1] has determinant 2, inverse [0.5 -1; -0.5 2]
    f.tensors = tensor_record(1, 1, {4, 2, 1, 1}, 2, 4);
    const file_outcome outcome = f.join();
    expect_joined(outcome, 1);
    expect_doubles(outcome.file, 96, {0.5, -1, 0, -0.5, 2, 0, 0, 0, 1 / mu0});
    expect_doubles(outcome.file, 168, {-3, 7, 0}); // 0.5 2 - 4; -0.5 2 + 2 4
    expect_doubles(outcome.file, 192, {3, 4, 5});
    for (const int use : {0, 2, -1}) { // another flag: the property's own values stand
        f.tensors = tensor_record(1, use, {4, 2, 1, 1}, 2, 4);
        const file_outcome kept = f.join();
        expect_joined(kept, 1);
        expect_doubles(kept.file, 96, {2, 0, 0, 0, 2, 0, 0, 0, 1 / mu0});
        expect_doubles(kept.file, 168, {2, 4, 0});
    }
}

TEST_F(felm_struct, first_vector_by_element_is_global)
{
    files f;
    f.iopt_proptv = 1;
    f.systems = system_record(8, 0) + system_end;
    f.properties = property_record({.iptv = 1, .bvec = {1, 0, 0}, .lnob = 8}) + property_end;
    f.tensors = tensor_record(1, 1, {1, 0, 0, 1}, 2, 4);
    expect_doubles(f.join().file, 168, {2, 4, 0});
    f.tensors = tensor_record(1, 0, {1, 0, 0, 1}, 2, 4);
    expect_doubles(f.join().file, 168, {0, 1, 0});
}

TEST_F(felm_struct, tables_hold_a_record_for_each_element_whose_property_asks)
{
    files f;
    f.iopt_proptv = f.iopt_j0vect = 1;
    f.felms = felm_record(5, 203, {1, 2, 3}, 1) + felm_record(6, 203, {1, 2, 3}, 2) +
              felm_record(7, 203, {1, 2, 3}, 3) + felm_record(8, 203, {1, 2, 3}, 4) + felm_end;
    f.centres = centre_record(5) + centre_record(6) + centre_record(7) + centre_record(8);
    f.properties = property_record({.nop = 1, .iptv = 1, .ij0v = 0, .j0vec = {0, 0, 1}}) +
                   property_record({.nop = 2, .iptv = 0, .ij0v = 1, .j0vec = {0, 0, 2}}) +
                   property_record({.nop = 3, .iptv = 9, .ij0v = 2, .j0vec = {0, 0, 3}}) +
                   property_record({.nop = 4, .iptv = -1, .ij0v = -1, .j0vec = {0, 0, 4}}) + property_end;
    f.tensors = tensor_record(5, 1, {2, 0, 0, 2}) + tensor_record(7, 1, {4, 0, 0, 4});
    f.currents = current_record(6, 1, {16, 32, 64}) + current_record(7, 0, {128, 128, 128});
    const file_outcome outcome = f.join();
    expect_joined(outcome, 4);
    const double inverse[] = {0.5, 1, 0.25, 1};
    for (std::size_t k = 0; k < 4; ++k) EXPECT_EQ(double_at(outcome.file, 256 * k + 96), inverse[k]);
    expect_doubles(outcome.file, 216, {0, 0, 1});
    expect_doubles(outcome.file, 256 + 216, {16, 32, 64});
    expect_doubles(outcome.file, 512 + 216, {0, 0, 3}); // its flag is 0
    expect_doubles(outcome.file, 768 + 216, {0, 0, 4});
    f.iopt_proptv = f.iopt_j0vect = 0; // without the switches no table is there
    const file_outcome plain = f.join();
    expect_joined(plain, 4);
    EXPECT_EQ(double_at(plain.file, 96), 1.0);
    expect_doubles(plain.file, 256 + 216, {0, 0, 2});
}

TEST_F(felm_struct, tables_of_another_element_or_cut_short_are_refused)
{
    files f;
    const auto other = [](const std::string& file, int noet) {
        return short_read(file) +
               "             finite element no. is illegal.\n             noe = 1, noet = " + std::to_string(noet) +
               " \n";
    };
    f.properties = property_record({.iptv = 1, .ij0v = 1}) + property_end;
    f.iopt_proptv = 1;
    for (const int noe : {0, 2, -1}) {
        f.tensors = tensor_record(noe, 0, {1, 0, 0, 1});
        expect_refused_unwritten(f.join(), other("at-proptv-struct.tmp", noe));
    }
    for (std::size_t n = 0; n < 104; ++n) {
        f.tensors = tensor_record(1, 1, {1, 0, 0, 1}).substr(0, n);
        expect_refused_unwritten(f.join(), short_read("at-proptv-struct.tmp"));
    }
    f.tensors = tensor_record(1, 1, {1, 0, 0, 1});
    f.iopt_j0vect = 1;
    for (const int noe : {0, 2, -1}) {
        f.currents = current_record(noe, 0, {});
        expect_refused_unwritten(f.join(), other("at-j0vect-struct.tmp", noe));
    }
    for (std::size_t n = 0; n < 32; ++n) {
        f.currents = current_record(1, 1, {}).substr(0, n);
        expect_refused_unwritten(f.join(), short_read("at-j0vect-struct.tmp"));
    }
}

TEST_F(felm_struct, permeability_must_be_positive)
{
    files f;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const double mu : {0.0, -1.0, -1e-3, nan, -std::numeric_limits<double>::infinity()}) {
        f.properties = property_record({.mu = mu}) + property_end;
        expect_refused_unwritten(f.join(), bad_tensor);
    }
    f.properties = property_record({.iptv = 1, .mu = -1}) + property_end;
    f.iopt_proptv = 1;
    f.tensors = tensor_record(1, 0, {1, 0, 0, 1});
    expect_refused_unwritten(f.join(), bad_tensor);
    const std::array<double, 4> illegal[] = {
        {0, 0, 0, 0},   {1, 2, 2, 1}, {1, 0, 0, -1},  {-1, 0, 0, 1},  {-1, 0, 0, -1}, {-1, 2, -2, -1}, {1, 2, -2, -1},
        {-1, 2, -2, 1}, {1, 1, 1, 1}, {nan, 0, 0, 1}, {1, nan, 0, 1}, {1, 0, nan, 1}, {1, 0, 0, nan}};
    for (const auto& t : illegal) {
        f.tensors = tensor_record(1, 1, t);
        expect_refused_unwritten(f.join(), bad_tensor);
    }
    f.tensors = tensor_record(1, 1, {1, 0, 0, 1}); // a legal table rescues an illegal property
    expect_joined(f.join(), 1);
    f.tensors = tensor_record(1, 1, {0, 2, -2, 0}); // zero diagonal, determinant 4: inverse [0 -0.5; 0.5 0]
    const file_outcome turned = f.join();
    expect_joined(turned, 1);
    expect_doubles(turned.file, 96, {0, -0.5, 0, 0.5, 0});
}

TEST_F(felm_struct, determinant_as_large_as_the_threshold_passes)
{
    files f; // mu = 1: the determinant of the whole tensor is the magnetic constant
    f.eps_zero = mu0;
    expect_joined(f.join(), 1);
    f.eps_zero = std::nextafter(mu0, 1.0);
    expect_refused_unwritten(f.join(), bad_tensor);
    f.properties = property_record({.mu = 4}) + property_end; // determinant 16 times as large
    f.eps_zero = 16 * mu0;
    expect_joined(f.join(), 1);
    f.eps_zero = std::nextafter(16 * mu0, 1.0);
    expect_refused_unwritten(f.join(), bad_tensor);
}

TEST_F(felm_struct, centres_run_in_step_with_the_elements)
{
    files f;
    f.felms = felm_record(4, 203, {1, 2, 3}) + felm_record(9, 203, {1, 2, 3}) + felm_end;
    f.centres = centre_record(9) + centre_record(4);
    const auto other = [](int noe, int noet) {
        return "      Error. in t-felm-cntr.tmp(r1).\n             finite element no. is different. \n"
               "             noe = " +
               std::to_string(noe) + ", noet = " + std::to_string(noet) + " \n";
    };
    expect_refused_unwritten(f.join(), other(4, 9));
    f.centres = centre_record(4) + std::string(4, '\0');
    const file_outcome ended = f.join();
    expect_refused(ended, other(9, 0));
    EXPECT_EQ(ended.file.size(), 256u); // the records written so far
    const std::string both = centre_record(4) + centre_record(9);
    for (std::size_t n = 0; n < both.size(); ++n) {
        f.centres = both.substr(0, n);
        expect_refused(f.join(), short_read("t-felm-cntr.tmp", n % 28 < 4 ? "r1" : "r2"));
    }
    f.centres = both; // its end mark is not looked at
    expect_joined(f.join(), 2);
}

TEST_F(felm_struct, numbers_of_the_lists_are_bounded)
{
    files f;
    f.maxfelm = 8, f.maxprp = 9;
    const int low = std::numeric_limits<std::int32_t>::min();
    for (const int bad : {-1, 10, low}) {
        files g = f;
        g.properties = property_record({.nop = bad}) + property_end;
        expect_refused_unwritten(g.join(), "      Error. prop no. over the limit.\n");
        g = f;
        g.systems = system_record(bad, 0) + system_end;
        expect_refused_unwritten(g.join(), "      Error. lcs-data no. over the limit.\n");
    }
    for (const int bad : {-1, 9, low}) {
        files g = f;
        g.felms = felm_record(bad, 999, {}) + felm_end;
        expect_refused_unwritten(g.join(), felm_limit);
    }
    f.felms = felm_record(8, 203, {1, 2, 3}, 9) + felm_end;
    f.centres = centre_record(8);
    f.properties = property_record({.nop = 9, .lnob = 9}) + property_end;
    f.systems = system_record(9, 0) + system_end;
    expect_joined(f.join(), 1);
}

TEST_F(felm_struct, end_records_count_against_the_limits)
{
    files f;
    f.maxprp = 2;
    f.properties = property_record({.nop = 1}) + property_record({.nop = 2}) + property_end;
    expect_refused_unwritten(f.join(), no_end("at-prop-struct.tmp", "nop", "maxprp"));
    f.properties = property_record({.nop = 1}) + property_end;
    f.systems = system_record(1, 0) + system_record(2, 0) + system_end;
    expect_refused_unwritten(f.join(), no_end("t-lcs-struct.tmp", "lno", "maxprp"));
    f.systems = system_record(2, 0) + system_end;
    f.maxfelm = 1;
    const file_outcome outcome = f.join();
    expect_refused(outcome, no_end("t-felms-struct.tmp", "noe", "maxfelm"));
    EXPECT_EQ(outcome.file.size(), 256u);
    f.maxfelm = 2;
    expect_joined(f.join(), 1);
}

TEST_F(felm_struct, lists_cut_at_any_byte_are_short_reads)
{
    const files whole;
    for (std::size_t n = 0; n < whole.felms.size(); ++n) {
        files f = whole;
        f.felms.resize(n);
        expect_refused(f.join(), short_read("t-felms-struct.tmp"));
    }
    for (std::size_t n = 0; n < whole.properties.size(); ++n) {
        files f = whole;
        f.properties.resize(n);
        expect_refused(f.join(), short_read("at-prop-struct.tmp"));
    }
    for (std::size_t n = 0; n < whole.systems.size(); ++n) {
        files f = whole;
        f.systems.resize(n);
        expect_refused(f.join(), short_read("t-lcs-struct.tmp"));
    }
    files f = whole;
    f.felms += "x", f.properties += "x", f.systems += "x";
    expect_joined(f.join(), 1);
}

TEST_F(felm_struct, faults_of_an_element_are_reported_in_order)
{
    // Each element has one fault more than the next: taking away the first shows the second.
    files f;
    f.iopt_proptv = f.iopt_j0vect = 1;
    f.maxprp = 9;
    f.properties = "", f.systems = "", f.felms = felm_record(-1, 9, {}, 10), f.centres = centre_record(2);
    expect_refused_unwritten(f.join(), short_read("at-prop-struct.tmp"));
    f.properties = property_record({.iptv = 1, .ij0v = 1, .mu = -1, .lnob = 8, .lnoh = 10}) + property_end;
    expect_refused_unwritten(f.join(), short_read("t-lcs-struct.tmp"));
    f.systems = system_end;
    expect_refused_unwritten(f.join(), felm_limit);
    f.felms = felm_record(1, 9, {}, 10);
    expect_refused_unwritten(f.join(), bad_type(1, " "));
    f.felms = felm_record(1, 203, {}, 10);
    expect_refused_unwritten(f.join(), "      Error. in t-felm-cntr.tmp(r1).\n"
                                       "             finite element no. is different. \n"
                                       "             noe = 1, noet = 2 \n");
    f.centres = bytes().add_i(1).text();
    expect_refused_unwritten(f.join(), short_read("t-felm-cntr.tmp", "r2"));
    f.centres = centre_record(1);
    expect_refused_unwritten(f.join(), "      Error. prop no. over the limit.\n             nop = 10 \n");
    f.felms = felm_record(1, 203, {}, 1);
    expect_refused_unwritten(f.join(), "      Error. lnoh no. over the limit.\n             nop = 1 lnoh = 10 \n");
    f.properties = property_record({.iptv = 1, .ij0v = 1, .mu = -1, .lnob = 8}) + property_end;
    expect_refused_unwritten(f.join(), "      Error. lcs_data not defined. lno = 8 \n");
    f.properties = property_record({.iptv = 1, .ij0v = 1, .mu = -1}) + property_end;
    expect_refused_unwritten(f.join(), short_read("at-proptv-struct.tmp"));
    f.tensors = tensor_record(1, 0, {1, 0, 0, 1});
    expect_refused_unwritten(f.join(), bad_tensor);
    f.properties = property_record({.iptv = 1, .ij0v = 1}) + property_end;
    expect_refused_unwritten(f.join(), short_read("at-j0vect-struct.tmp"));
    f.currents = current_record(1, 0, {});
    const file_outcome ended = f.join(); // the element is written, the list goes on
    expect_refused(ended, short_read("t-felms-struct.tmp"));
    EXPECT_EQ(ended.file.size(), 256u);
}

TEST_F(felm_struct, limits_of_900_million_are_bounds_and_nothing_else)
{
    files f;
    const int top = 900000000;
    f.maxfelm = f.maxprp = top;
    f.felms = felm_record(top, 203, {1, 2, 3}, top) + felm_record(2, 203, {1, 2, 3}, 5) + felm_end;
    f.centres = centre_record(top) + centre_record(2);
    f.properties =
        property_record({.nop = top, .mu = 2, .lnob = top}) + property_record({.nop = 5, .mu = 4}) + property_end;
    f.systems = system_record(70000, 0) + system_record(top, 0) + system_end;
    const file_outcome outcome = f.join();
    expect_joined(outcome, 2);
    EXPECT_EQ(double_at(outcome.file, 96), 0.5);
    EXPECT_EQ(double_at(outcome.file, 256 + 96), 0.25);
    f.felms = felm_record(top, 203, {1, 2, 3}, top - 1) + felm_end;
    expect_refused_unwritten(f.join(), "      Error. prop data not defined.\n             nop = 899999999 \n");
}

TEST_F(felm_struct, refused_write_is_reported)
{
    for (const std::size_t room : {std::size_t{0}, std::size_t{255}, std::size_t{256}, std::size_t{511},
                                   std::size_t{512}, tarnel::stream_buffer_bytes}) {
        const stage_outcome outcome = files().join_on_full_device(room);
        EXPECT_TRUE(outcome.failed) << room;
        EXPECT_EQ(outcome.log, heading + "      Error. in at-felm-struct.tmp(w).\n");
    }
}
