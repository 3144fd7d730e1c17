#include "host_files/host_files.h"

#include "support/stage.h"

#include <functional>
#include <stdexcept>

using namespace tarnel_test;
using namespace tarnel_host;

namespace
{

std::string error_of(const std::function<void()>& call)
{
    try {
        call();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

volt_data1 some_data1()
{
    return {5, {{1, 1, 2, {{3, 2, {0.5, 1.5, 2.5}, 4}, {1, 1, {}, 0}}}, {2, -1, 1, {}}, {6, 1, 0, {}}}};
}
volt_data2 some_data2()
{
    volt_data2 data;
    data.maxvlt = 3, data.nvoltg = 1, data.nvoltv = 2, data.nvoltve = 1, data.nvoltm = 1;
    data.grads = {{2, 1}};
    data.edges = {{1, 2, {1, 2, 3, 4, 5, 6, 7}, {8, 9}}};
    data.nodes = {{3, 1}};
    data.maxtdat_diod = 2, data.itermax_diod = 30, data.eps_diod = 0.25;
    data.diodes = {{1, 2, -1}};
    data.tables = {{2, {{0, 0}, {0.5, 100}}}};
    return data;
}

// The bytes of each file, item by item.
std::string bytes_of_data1()
{
    bytes file;
    file.add_i(5);
    file.add_i(1).add_i(1).add_i(2);
    file.add_i(3).add_i(2).add_d(0.5).add_d(1.5).add_d(2.5).add_i(4).add_i(0);
    file.add_i(1).add_i(1).add_d(0).add_d(0).add_d(0).add_i(0).add_i(0);
    file.add_i(0);
    file.add_i(2).add_i(-1).add_i(1);
    file.add_i(6).add_i(1).add_i(0).add_i(0);
    return file.add_i(0).text();
}
std::string bytes_of_data2()
{
    bytes file;
    file.add_i(3).add_i(1).add_i(2).add_i(1).add_i(1);
    file.add_i(2).add_i(1).add_i(0);
    file.add_i(1).add_i(2);
    for (int k = 1; k <= 7; ++k) file.add_d(k);
    file.add_i(8).add_i(9).add_i(0);
    file.add_i(3).add_i(1).add_i(0);
    file.add_i(2).add_i(30).add_d(0.25);
    file.add_i(1).add_i(2).add_i(-1).add_i(0);
    file.add_i(2).add_i(2).add_d(0).add_d(0).add_d(0.5).add_d(100);
    return file.add_i(0).text();
}

class host_files : public stage_test
{
};

// A reader must refuse every beginning of its file.
void expect_short_reads(const std::string& whole, const std::function<void()>& read)
{
    for (std::size_t cut = 0; cut < whole.size(); ++cut) {
        write_file("cut.tmp", whole.substr(0, cut));
        EXPECT_EQ(error_of(read).find("cut.tmp: ends in "), 0u) << cut;
    }
    write_file("cut.tmp", whole + "more");
    EXPECT_EQ(error_of(read), "");
}

} // namespace

TEST_F(host_files, first_circuit_file_item_by_item)
{
    write_volt_data1("a.tmp", some_data1());
    EXPECT_EQ(read_file("a.tmp"), bytes_of_data1());
    write_volt_data1("b.tmp", read_volt_data1("a.tmp"));
    EXPECT_EQ(read_file("b.tmp"), bytes_of_data1());
    const volt_data1 read = read_volt_data1("a.tmp");
    ASSERT_EQ(read.properties.size(), 3u);
    EXPECT_EQ(read.properties[0].conductors[0].nvect[2], 2.5);
    EXPECT_EQ(read.properties[0].conductors[0].lnon, 4);
    expect_short_reads(bytes_of_data1(), [] { read_volt_data1("cut.tmp"); });
}

TEST_F(host_files, second_circuit_file_item_by_item)
{
    write_volt_data2("a.tmp", some_data2());
    EXPECT_EQ(read_file("a.tmp"), bytes_of_data2());
    write_volt_data2("b.tmp", read_volt_data2("a.tmp"));
    EXPECT_EQ(read_file("b.tmp"), bytes_of_data2());
    const volt_data2 read = read_volt_data2("a.tmp");
    EXPECT_EQ(read.edges[0].constv[6], 7.0);
    EXPECT_EQ(read.tables[0].points[1].i, 100.0);
    expect_short_reads(bytes_of_data2(), [] { read_volt_data2("cut.tmp"); });
}

TEST_F(host_files, without_diodes_the_second_circuit_file_ends_behind_their_tolerance)
{
    volt_data2 data = some_data2();
    data.maxtdat_diod = 0, data.diodes.clear(), data.tables.clear();
    write_volt_data2("a.tmp", data);
    EXPECT_EQ(read_file("a.tmp").size(), bytes_of_data2().size() - 16 - 44);
    EXPECT_TRUE(read_volt_data2("a.tmp").diodes.empty());
}

TEST_F(host_files, a_full_list_of_diode_tables_has_no_end)
{
    volt_data2 data = some_data2();
    data.tables = {{1, {{0, 0}, {1, 1}}}, {2, {{0, 0}, {1, 1}}}, {3, {{0, 0}, {1, 1}}}};
    write_volt_data2("a.tmp", data);
    EXPECT_EQ(read_file("a.tmp").size(), bytes_of_data2().size() + 2 * 40 - 4);
    EXPECT_EQ(read_volt_data2("a.tmp").tables.size(), 3u);
    data.tables.push_back({1, {}});
    EXPECT_EQ(error_of([&] { write_volt_data2("a.tmp", data); }), "a.tmp: more tables than maxvlt");
}

TEST_F(host_files, circuit_matrix_vector_and_solution_item_by_item)
{
    write_voltr_matrix("m.tmp", {2, {1, 2, 3, 4}});
    const std::string matrix = bytes().add_i(2).add_d(1).add_d(2).add_d(3).add_d(4).text();
    EXPECT_EQ(read_file("m.tmp"), matrix);
    EXPECT_EQ(read_voltr_matrix("m.tmp").f, (std::vector<double>{1, 2, 3, 4}));
    EXPECT_EQ(read_voltr_matrix("m.tmp").nvolt, 2);
    expect_short_reads(matrix, [] { read_voltr_matrix("cut.tmp"); });
    write_voltr_vector("v.tmp", {5, 6});
    const std::string vector = bytes().add_i(2).add_d(5).add_d(6).text();
    EXPECT_EQ(read_file("v.tmp"), vector);
    EXPECT_EQ(read_voltr_vector("v.tmp"), (std::vector<double>{5, 6}));
    expect_short_reads(vector, [] { read_voltr_vector("cut.tmp"); });
    write_voltp_solution("p.tmp", {{7, 8}, {9}});
    const std::string solution = bytes().add_i(2).add_d(7).add_d(8).add_i(1).add_d(9).text();
    EXPECT_EQ(read_file("p.tmp"), solution);
    EXPECT_EQ(read_voltp_solution("p.tmp").fsolr, (std::vector<double>{7, 8}));
    EXPECT_EQ(read_voltp_solution("p.tmp").chg_vlt, (std::vector<double>{9}));
    expect_short_reads(solution, [] { read_voltp_solution("cut.tmp"); });
}

TEST_F(host_files, counts_that_the_file_cannot_hold_are_refused_without_their_memory)
{
    write_file("a.tmp", bytes().add_i(2147483647).add_d(1).text());
    EXPECT_EQ(error_of([] { read_voltr_matrix("a.tmp"); }), "a.tmp: ends in fmatr");
    EXPECT_EQ(error_of([] { read_voltr_vector("a.tmp"); }), "a.tmp: ends in fvecr");
    write_file("a.tmp", bytes().add_i(-1).add_d(1).text());
    EXPECT_EQ(error_of([] { read_voltr_matrix("a.tmp"); }), "a.tmp: nvolt is negative");
    EXPECT_EQ(error_of([] { read_voltp_solution("a.tmp"); }), "a.tmp: nvolt is negative");
}

TEST_F(host_files, a_long_vector_comes_back_whole)
{
    std::vector<double> values(200001);
    for (std::size_t k = 0; k < values.size(); ++k) values[k] = static_cast<double>(k);
    write_voltr_vector("v.tmp", values);
    EXPECT_EQ(read_voltr_vector("v.tmp"), values);
}

// Tables by element: records as they are, to the end of the file.
TEST_F(host_files, tables_by_element)
{
    tarnel::tensor_record tensor;
    tensor.noe = 3, tensor.use = 1, tensor.t11 = 1, tensor.t12 = 2, tensor.t21 = 3, tensor.t22 = 4, tensor.by = 5;
    write_proptv("t.tmp", {tensor, tensor});
    EXPECT_EQ(read_file("t.tmp").size(), 208u);
    EXPECT_EQ(double_at(read_file("t.tmp"), 104 + 32), 3.0);
    EXPECT_EQ(read_proptv("t.tmp").at(1).by, 5.0);
    tarnel::conductivity_record sigma;
    sigma.noe = 4, sigma.use = 1, sigma.sigma = 7;
    write_propsg("s.tmp", {sigma});
    EXPECT_EQ(read_file("s.tmp"), bytes().add_i(4).add_i(1).add_zeros(64).add_d(7).text());
    EXPECT_EQ(read_propsg("s.tmp").at(0).sigma, 7.0);
    write_j0vect("j.tmp", {{4, 1, {1, 2, 3}}});
    EXPECT_EQ(read_file("j.tmp"), bytes().add_i(4).add_i(1).add_d(1).add_d(2).add_d(3).text());
    EXPECT_EQ(read_j0vect("j.tmp").at(0).j0vec[2], 3.0);
    tarnel::magnetisation_record field;
    field.noe = 4, field.hx[1] = 8, field.hy[4] = 9;
    write_h0vect("h.tmp", {field});
    EXPECT_EQ(double_at(read_file("h.tmp"), 8 + 8), 8.0);
    EXPECT_EQ(double_at(read_file("h.tmp"), 80 + 32), 9.0);
    EXPECT_EQ(read_h0vect("h.tmp").at(0).hy[4], 9.0);
}

TEST_F(host_files, tables_by_element_may_be_empty_and_hold_whole_records_only)
{
    write_j0vect("j.tmp", {});
    EXPECT_TRUE(read_j0vect("j.tmp").empty());
    for (const std::size_t size : {1u, 31u, 33u, 63u}) {
        write_file("j.tmp", std::string(size, '\1'));
        EXPECT_EQ(error_of([] { read_j0vect("j.tmp"); }), "j.tmp: ends in a record") << size;
    }
}

TEST_F(host_files, lists_end_with_a_record_of_zeros)
{
    tarnel::belm_record belm;
    belm.nob = 2, belm.type = 102, belm.points = 2, belm.node[1] = 9, belm.hx[1] = 3, belm.hy[0] = 4;
    write_belm("b.tmp", {belm});
    const std::string file = read_file("b.tmp");
    EXPECT_EQ(file.size(), 288u);
    EXPECT_EQ(int_at(file, 16), 9);
    EXPECT_EQ(double_at(file, 56), 3.0);
    EXPECT_EQ(double_at(file, 80), 4.0);
    EXPECT_EQ(file.substr(144), std::string(144, '\0'));
    ASSERT_EQ(read_belm("b.tmp").size(), 1u);
    EXPECT_EQ(read_belm("b.tmp")[0].type, 102);
    expect_short_reads(file, [] { read_belm("cut.tmp"); });
    write_npresl("n.tmp", {{5, 0, 0.5}, {6, 0, 0.25}});
    const std::string potentials =
        bytes().add_i(5).add_i(0).add_d(0.5).add_i(6).add_i(0).add_d(0.25).add_zeros(16).text();
    EXPECT_EQ(read_file("n.tmp"), potentials);
    EXPECT_EQ(read_npresl("n.tmp").at(1).potential, 0.25);
    expect_short_reads(potentials, [] { read_npresl("cut.tmp"); });
}

TEST_F(host_files, a_list_member_of_number_0_is_refused)
{
    volt_data1 one = some_data1();
    one.properties[1].nop = 0;
    EXPECT_EQ(error_of([&] { write_volt_data1("a.tmp", one); }), "a.tmp: nop 0 would end its list");
    one = some_data1(), one.properties[0].conductors[0].novlt = 0;
    EXPECT_EQ(error_of([&] { write_volt_data1("a.tmp", one); }), "a.tmp: novlt 0 would end its list");
    volt_data2 two = some_data2();
    two.grads[0].ngrad = 0;
    EXPECT_EQ(error_of([&] { write_volt_data2("a.tmp", two); }), "a.tmp: ngrad 0 would end its list");
    two = some_data2(), two.edges[0].novlt = 0;
    EXPECT_EQ(error_of([&] { write_volt_data2("a.tmp", two); }), "a.tmp: novlt 0 would end its list");
    two = some_data2(), two.nodes[0].node = 0;
    EXPECT_EQ(error_of([&] { write_volt_data2("a.tmp", two); }), "a.tmp: node 0 would end its list");
    two = some_data2(), two.diodes[0].novlt = 0;
    EXPECT_EQ(error_of([&] { write_volt_data2("a.tmp", two); }), "a.tmp: novlt_diod 0 would end its list");
    two = some_data2(), two.tables[0].not_diod = 0;
    EXPECT_EQ(error_of([&] { write_volt_data2("a.tmp", two); }), "a.tmp: not_diod 0 would end its list");
    EXPECT_EQ(error_of([] { write_belm("a.tmp", {tarnel::belm_record{}}); }), "a.tmp: nob 0 would end its list");
    EXPECT_EQ(error_of([] { write_npresl("a.tmp", {{0, 0, 1}}); }), "a.tmp: nog 0 would end its list");
}

TEST_F(host_files, what_the_file_has_no_room_for_is_refused)
{
    volt_data1 one = some_data1();
    one.properties[0].iswvlt = 2;
    EXPECT_EQ(error_of([&] { write_volt_data1("a.tmp", one); }), "a.tmp: conductors need iswvlt 1");
    volt_data2 two = some_data2();
    two.maxtdat_diod = 0;
    EXPECT_EQ(error_of([&] { write_volt_data2("a.tmp", two); }), "a.tmp: diodes need maxtdat_diod above 0");
    EXPECT_EQ(error_of([] { write_voltr_matrix("a.tmp", {2, {1, 2, 3}}); }), "a.tmp: the matrix is not nvolt x nvolt");
}

TEST_F(host_files, files_that_cannot_be_opened_are_named_with_the_reason)
{
    EXPECT_EQ(error_of([] { read_volt_data1("none.tmp"); }), "none.tmp: cannot be opened: No such file or directory");
    EXPECT_EQ(error_of([] { write_voltr_vector("none/v.tmp", {}); }),
              "none/v.tmp: cannot be opened: No such file or directory");
}

TEST_F(host_files, a_full_disk_is_named_however_late_it_shows)
{
    const std::string full = "/dev/full: cannot be written: No space left on device";
    EXPECT_EQ(error_of([] { write_volt_data1("/dev/full", some_data1()); }), full);
    EXPECT_EQ(error_of([] { write_volt_data2("/dev/full", some_data2()); }), full);
    EXPECT_EQ(error_of([] { write_voltr_matrix("/dev/full", {1, {1}}); }), full);
    EXPECT_EQ(error_of([] { write_voltr_vector("/dev/full", std::vector<double>(100000)); }), full);
    EXPECT_EQ(error_of([] { write_voltp_solution("/dev/full", {{1}, {1}}); }), full);
    EXPECT_EQ(error_of([] { write_proptv("/dev/full", {{}}); }), full);
    EXPECT_EQ(error_of([] { write_propsg("/dev/full", {{}}); }), full);
    EXPECT_EQ(error_of([] { write_j0vect("/dev/full", {{}}); }), full);
    EXPECT_EQ(error_of([] { write_h0vect("/dev/full", {{}}); }), full);
    EXPECT_EQ(error_of([] { write_belm("/dev/full", {}); }), full);
    EXPECT_EQ(error_of([] { write_npresl("/dev/full", {}); }), full);
}
