// Every form of indexing and indexed assignment: reading with one and with
// several subscripts, ':', 'end' and logical masks, growth and deletion, the
// class an array keeps, cells, structures and their nesting, lists from c{:}
// and s.f, multiple results, and the errors of each.
#include "language/LanguageFixture.hpp"

using qztest::Evaluation;

TEST_F(Evaluation, ReadingSelectsAndShapesAsTheRulesSay) {
    run("A = [1 2 3; 4 5 6]; v = [10 20 30 40]; c = v'; s = 7; Z = reshape(1:8, 2, 2, 2);");
    struct {
        char const *expression, *value;
    } const rows[] = {
        {"A(2, 3)", "double 1x1: 6"},
        {"A(5)", "double 1x1: 3"},
        {"A(:, 2)", "double 2x1: 2 5"},
        {"A(2, :)", "double 1x3: 4 5 6"},
        {"A(:)", "double 6x1: 1 4 2 5 3 6"},
        {"A(end, end)", "double 1x1: 6"},
        {"A([1 2], [1 end])", "double 2x2: 1 4 3 6"},
        {"A([1 2; 3 4])", "double 2x2: 1 2 4 5"},
        {"A(A > 3)", "double 3x1: 4 5 6"},
        {"v(v > 15)", "double 1x3: 20 30 40"},
        {"c(c > 15)", "double 3x1: 20 30 40"},
        {"v(logical([1 0 1]))", "double 1x2: 10 30"},
        {"v([1; 2])", "double 1x2: 10 20"},
        {"c([1 2])", "double 2x1: 10 20"},
        {"v(end:-1:3)", "double 1x2: 40 30"},
        {"v(end - 1)", "double 1x1: 30"},
        {"v(min(end, 9))", "double 1x1: 40"},
        {"s(1)", "double 1x1: 7"},
        {"s([1 1 1])", "double 1x3: 7 7 7"},
        {"A(2, 2, 1)", "double 1x1: 5"},
        {"Z(1, end)", "double 1x1: 7"},
        {"Z(:, :, 2)", "double 2x2: 5 6 7 8"},
        {"v([])", "double 0x0:"},
        {"v(:, [])", "double 1x0:"},
    };
    for (auto const& row : rows) EXPECT_EQ(value(row.expression), row.value) << row.expression;
}

TEST_F(Evaluation, AssignmentGrowsConvertsAndDeletes) {
    struct {
        char const *statements, *name, *value;
    } const rows[] = {
        {"x(3) = 1;", "x", "double 1x3: 0 0 1"},
        {"x = [1; 2]; x(3) = 3;", "x", "double 3x1: 1 2 3"},
        {"x = 5; x(3) = 1;", "x", "double 1x3: 5 0 1"},
        {"A = 1; A(2, 3) = 5;", "A", "double 2x3: 1 0 0 0 0 5"},
        {"A = [1 2; 3 4]; A(:, 3) = [5; 6];", "A", "double 2x3: 1 3 2 4 5 6"},
        {"A = [1 2; 3 4]; A(3, 1) = 5;", "A", "double 3x2: 1 3 5 2 4 0"},
        {"A = [1+2i 3]; A(4) = 1;", "A", "double 1x4: 1+2i 3+0i 0+0i 1+0i"},
        {"c = {1; 2}; c{4} = 3;", "c", "cell 4x1: {double 1x1: 1} {double 1x1: 2} {} {double 1x1: 3}"},
        {"A = []; A(2, 2, 2) = 1;", "A", "double 2x2x2: 0 0 0 0 0 0 0 1"},
        {"A = zeros(2); A(:, 1) = [5; 6];", "A", "double 2x2: 5 6 0 0"},
        {"A = zeros(2); A(:) = 1:4;", "A", "double 2x2: 1 2 3 4"},
        {"A = zeros(2, 3); A(2, :) = 7;", "A", "double 2x3: 0 7 0 7 0 7"},
        {"A = []; A(:, 1) = [1; 2; 3];", "A", "double 3x1: 1 2 3"},
        {"v = 1:5; v(v > 2) = 0;", "v", "double 1x5: 1 2 0 0 0"},
        {"v = 1:5; v([1 end]) = [9 8];", "v", "double 1x5: 9 2 3 4 8"},
        {"v = 1:3; v(end + 1) = 4;", "v", "double 1x4: 1 2 3 4"},
        {"v = 1:5; v([2 4]) = [];", "v", "double 1x3: 1 3 5"},
        {"v = (1:4)'; v(1) = [];", "v", "double 3x1: 2 3 4"},
        {"A = [1 2; 3 4]; A(2) = [];", "A", "double 1x3: 1 2 4"},
        {"A = [1 2 3; 4 5 6]; A(:, 2) = [];", "A", "double 2x2: 1 4 3 6"},
        {"A = [1 2; 3 4]; A(:, :) = [];", "A", "double 2x0:"},
        {"v = 1:3; v(logical([1 0 1])) = [];", "v", "double 1x1: 2"},
        // The array keeps its class, with these exceptions.
        {"t = 'abc'; t(2) = 65;", "t", "char 1x3: 'aAc'"},
        {"t = 'ab'; t(4) = 'd'; n = double(t);", "n", "double 1x4: 97 98 0 100"},
        {"i = int8([1 2]); i(1) = 300.4;", "i", "int8 1x2: 127 2"},
        {"i = int8([1 2]); i(2) = -2.5;", "i", "int8 1x2: 1 -3"},
        {"d = [1.5 2]; d(1) = int8(7);", "d", "int8 1x2: 7 2"},
        {"d = [1.5 2]; d(2) = single(3);", "d", "single 1x2: 1.5 3"},
        {"l = [true false]; l(2) = 5;", "l", "double 1x2: 1 5"},
        {"l = [true false]; l(3) = true;", "l", "logical 1x3: 1 0 1"},
        {"z = [1 2]; z(2) = 3i;", "z", "double 1x2: 1+0i 0+3i"},
        // Values are copied on write: the other name keeps its value.
        {"a = [1 2 3]; b = a; b(2) = 9;", "a", "double 1x3: 1 2 3"},
        {"f = @(x) x + 1; g = f; clear f; y = g(1);", "y", "double 1x1: 2"},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.statements);
        session.clearAll();
        EXPECT_EQ(errorOf(row.statements), "");
        EXPECT_EQ(describe(row.name), row.value);
    }
}

TEST_F(Evaluation, BadSubscriptsGiveTheIndexAndTheBound) {
    run("x = [1 2 3]; A = [1 2; 3 4]; c = {1, 2}; s.a = 1;");
    struct {
        char const *statements, *reason;
    } const rows[] = {
        {"x(0)", "Index 0 is not a positive whole number; subscripts count from 1."},
        {"x(1.5)", "Subscripts must be positive whole numbers, not 1.5."},
        {"x(4)", "Index exceeds the number of array elements: index 4, but the array has 3."},
        {"A(3, 1)", "Index in position 1 exceeds the array bounds: index 3, but the bound is 2."},
        {"A(1, 1, 2)", "Index in position 3 exceeds the array bounds: index 2, but the bound is 1."},
        {"x(logical([0 0 0 1]))", "Index exceeds the number of array elements: index 4, but the array has 3."},
        {"x({1})", "Subscripts must be real positive whole numbers or logicals, not cell."},
        {"A(5) = 1", "An array of size 2x2 cannot grow through one subscript past its 4 elements; use two subscripts."},
        {"x(1:2) = [1 2 3]", "The right side has 3 elements (size 1x3) and the selection 2; they must agree."},
        {"A(1, 2) = []",
         "Deleting with several subscripts removes whole rows, columns or pages: all subscripts but one must be ':'."},
        {"c(1) = 5", "A value of class double cannot be put into a cell array with (); use {} or wrap it in a cell."},
        {"x(2) = {1}", "A value of class cell cannot be assigned into an array of class double."},
        {"x.f = 1", "Fields can only be set on a structure, not on a value of class double."},
        {"x{1} = 2", "{} assigns into cell arrays only, not into a value of class double."},
        {"c{} = 3", "This assignment needs subscripts that select exactly one element."},
        {"e{} = 3", "This assignment needs subscripts that select exactly one element."},
        {"s(2).a = 1; s.a = 2", "Name the element of the structure array, as in s(2).a."},
        {"s(1).('bad name') = 1", "'bad name' is not a valid field name."},
    };
    for (auto const& row : rows) EXPECT_EQ(errorOf(row.statements), row.reason) << row.statements;
    EXPECT_EQ(describe("x"), "double 1x3: 1 2 3") << "a failed assignment leaves the variable as it was";
    EXPECT_EQ(describe("A"), "double 2x2: 1 3 2 4");
    EXPECT_EQ(describe("c"), "cell 1x2: {double 1x1: 1} {double 1x1: 2}");
}

TEST_F(Evaluation, CellsStructuresAndTheirNesting) {
    struct {
        char const *statements, *name, *value;
    } const rows[] = {
        {"c = {1, 'two', [3 4]}; k = class(c{2});", "k", "char 1x4: 'char'"},
        {"c = {1, 2}; d = c(2);", "d", "cell 1x1: {double 1x1: 2}"},
        {"c = {}; c{3} = 'x';", "c", "cell 1x3: {} {} {char 1x1: 'x'}"},
        {"c = {1}; c(3) = {5};", "c", "cell 1x3: {double 1x1: 1} {} {double 1x1: 5}"},
        {"c = {1, 2, 3}; c(2) = [];", "c", "cell 1x2: {double 1x1: 1} {double 1x1: 3}"},
        {"c = {1, 2}; c{2} = [];", "c", "cell 1x2: {double 1x1: 1} {double 0x0:}"},
        {"q = {}; q{2, 2} = 1;", "q", "cell 2x2: {} {} {} {double 1x1: 1}"},
        {"c = {1, {2, 3}}; y = c{2}{1};", "y", "double 1x1: 2"},
        {"c = {[1 2 3]}; c{1}(2) = 9;", "c", "cell 1x1: {double 1x3: 1 9 3}"},
        {"c = {1, 2}; v = [c{:}];", "v", "double 1x2: 1 2"},
        {"c = {1, 'a'}; d = {c{:}, 3};", "d", "cell 1x3: {double 1x1: 1} {char 1x1: 'a'} {double 1x1: 3}"},
        {"c = {4, 5}; [a, b] = c{:};", "b", "double 1x1: 5"},
        {"c = {4, 5, 6}; [~, b] = c{2:3};", "b", "double 1x1: 6"},
        {"e = {{1}, 2};", "e", "cell 1x2: {cell 1x1: {double 1x1: 1}} {double 1x1: 2}"},
        {"s.a.b = 1;", "s", "struct 1x1: {a=(struct 1x1: {b=(double 1x1: 1)})}"},
        {"s = struct('a', {1, 2}); v = [s.a];", "v", "double 1x2: 1 2"},
        {"s = struct('a', {1, 2}); [p, q] = s.a;", "q", "double 1x1: 2"},
        {"r(2).a = 1;", "r", "struct 1x2: {a=(double 0x0:)} {a=(double 1x1: 1)}"},
        {"m(2, 2).v = 5;", "m", "struct 2x2: {v=(double 0x0:)} {v=(double 0x0:)} {v=(double 0x0:)} {v=(double 1x1: 5)}"},
        {"t.u(2).v = 3; w = t.u(2).v;", "w", "double 1x1: 3"},
        {"n = 'dyn'; dd.(n) = 4; y = dd.(n) + dd.dyn;", "y", "double 1x1: 8"},
        {"a.b(2).c{3} = 1; y = a.b(2).c;", "y", "cell 1x3: {} {} {double 1x1: 1}"},
        {"s.x = [1 2 3]; s.x(end + 1) = 4;", "s", "struct 1x1: {x=(double 1x4: 1 2 3 4)}"},
        {"s = struct('a', {1, 2, 3}); s(2) = [];", "s", "struct 1x2: {a=(double 1x1: 1)} {a=(double 1x1: 3)}"},
        {"s = struct('a', 1); s(2) = struct('a', 5);", "s", "struct 1x2: {a=(double 1x1: 1)} {a=(double 1x1: 5)}"},
        {"s.a = 1; s.b = 2; t = rmfield(s, 'a');", "t", "struct 1x1: {b=(double 1x1: 2)}"},
        {"s.a = 1; s.b = 2; f = fieldnames(s);", "f", "cell 2x1: {char 1x1: 'a'} {char 1x1: 'b'}"},
        {"s.a = 1; y = [isfield(s, 'a') isfield(s, 'z') isstruct(s) iscell({})];", "y", "logical 1x4: 1 0 1 1"},
        {"c = num2cell([1 2]);", "c", "cell 1x2: {double 1x1: 1} {double 1x1: 2}"},
        {"m = cell2mat({[1 2], 3; [4 5], 6});", "m", "double 2x3: 1 4 2 5 3 6"},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.statements);
        session.clearAll();
        EXPECT_EQ(errorOf(row.statements), "");
        EXPECT_EQ(describe(row.name), row.value);
    }
}

TEST_F(Evaluation, HandlesCaptureValuesAndCallThrough) {
    struct {
        char const *statements, *name, *value;
    } const rows[] = {
        {"a = 2; f = @(x) x * a; a = 100; y = f(3);", "y", "double 1x1: 6"},
        {"f = @(x, y) x + y; y = f(1, 2);", "y", "double 1x1: 3"},
        {"f = @() 42; y = f();", "y", "double 1x1: 42"},
        {"g = @(n) @(x) x + n; h = g(10); y = h(1);", "y", "double 1x1: 11"},
        {"f = @(x) [x, -x; 'a' 1]; s = func2str(f);", "s", "char 1x16: '@(x)[x,-x;'a',1]'"},
        {"f = @(x) (x + 1) * 2; s = func2str(f);", "s", "char 1x11: '@(x)(x+1)*2'"},
        {"f = @class; s = func2str(f);", "s", "char 1x5: 'class'"},
        {"f = str2func('@(x) x - 1'); y = f(5);", "y", "double 1x1: 4"},
        {"f = str2func('class'); y = f(1);", "y", "char 1x6: 'double'"},
        {"y = feval(@(a) a * 2, 4);", "y", "double 1x1: 8"},
        {"y = feval('class', 'x');", "y", "char 1x4: 'char'"},
        {"c = {@(x) x + 1}; y = c{1}(2);", "y", "double 1x1: 3"},
        {"s.f = @(x) x * 3; y = s.f(2);", "y", "double 1x1: 6"},
        {"y = cellfun(@(x) x * 2, {1, 2, 3});", "y", "double 1x3: 2 4 6"},
        {"y = cellfun(@isempty, {[], 1, ''});", "y", "logical 1x3: 1 0 1"},
        {"y = cellfun(@(x) [x x], {1, 2}, 'UniformOutput', false);", "y",
         "cell 1x2: {double 1x2: 1 1} {double 1x2: 2 2}"},
        {"y = arrayfun(@(x) x > 1, [1 2 3]);", "y", "logical 1x3: 0 1 1"},
        {"y = arrayfun(@(s) s.a * 2, struct('a', {1, 2}));", "y", "double 1x2: 2 4"},
        {"y = cellfun('class', {1, 'a'}, 'UniformOutput', false);", "y", "cell 1x2: {char 1x6: 'double'} {char 1x4: 'char'}"},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.statements);
        session.clearAll();
        EXPECT_EQ(errorOf(row.statements), "");
        EXPECT_EQ(describe(row.name), row.value);
    }
    EXPECT_EQ(errorOf("f = @(x) x; f(1, 2)"), "Too many input arguments: @(x)x takes 1, 2 given.");
    EXPECT_EQ(errorOf("h = @(x, y) x; h(1), h(1, 2); h()"), "Not enough input arguments: 'x' was not given.");
    EXPECT_EQ(errorOf("clear f; f = @(x) f(x); f(1)"), "Undefined function or variable 'f'.")
        << "f did not exist when the handle was made";
    EXPECT_EQ(errorOf("y = cellfun(@(x) [x x], {1, 2});"),
              "The function given to cellfun returned a value that is not a scalar (element 1); use 'UniformOutput', false.");
    EXPECT_EQ(run("f = @(t) t.^2 + 1"), "\nf = \n\n    @(t)t.^2+1\n\n");
}

TEST_F(Evaluation, ClosuresStillReachedSurviveTheSweepOfTheOthers) {
    // Reached only through another closure's captures, a later element of a
    // structure array, and a cell inside a cell.
    ASSERT_EQ(errorOf("k = 3; inner = @(x) x * k; outer = @(x) inner(x) + 1; clear inner k; "
                      "s(2).f = @(x) x - 1; c = {1, {@(x) x * 10}};"),
              "");
    // Enough top-level runs that each make a closure and drop the last one
    // for the table to be swept several times.
    for (int k = 0; k < 300; ++k) ASSERT_EQ(errorOf("t = @(x) x + " + std::to_string(k) + ";"), "");
    EXPECT_EQ(value("outer(2)"), "double 1x1: 7");
    EXPECT_EQ(value("s(2).f(5)"), "double 1x1: 4");
    EXPECT_EQ(value("c{2}{1}(2)"), "double 1x1: 20");
    EXPECT_EQ(value("t(1)"), "double 1x1: 300");
}

TEST_F(Evaluation, AnArrayHeldOnceChangesInPlaceAndASharedOneIsCopiedOnce) {
    run("x = zeros(1, 1000);");
    vxArray const* const before = session.find("x");
    run("for k = 1:1000, x(k) = k; end");
    EXPECT_EQ(session.find("x"), before) << "x(k) = k never copies x";
    EXPECT_EQ(qzlang::realAt(session.find("x"), 999), 1000.0);
    run("y = x;");
    EXPECT_EQ(session.find("y"), before) << "b = a copies nothing";
    run("x(1) = -1; x(2) = -2;");
    vxArray const* const copied = session.find("x");
    EXPECT_NE(copied, before) << "the first change of a shared array copies it";
    EXPECT_EQ(session.find("y"), before);
    EXPECT_EQ(qzlang::realAt(session.find("y"), 0), 1.0);
    run("x(3) = -3;");
    EXPECT_EQ(session.find("x"), copied) << "and only once";
    run("c = {zeros(1, 10)}; d = c; c{1}(2) = 5;");
    EXPECT_EQ(describe("d"), "cell 1x1: {double 1x10: 0 0 0 0 0 0 0 0 0 0}");
}

TEST_F(Evaluation, AppendingGrowsInPlaceWithZerosAndLeavesSharedCopiesAlone) {
    // Appends reuse the spare room of the data block; the rows check that the
    // room between the old end and a new far element reads as zeros, and that
    // a copy taken before the appends does not change.
    struct {
        char const *statements, *name, *value;
    } const rows[] = {
        {"x = []; for k = 1:1000, x(end+1) = k; end; ok = isequal(x, 1:1000) && numel(x) == 1000;", "ok",
         "logical 1x1: 1"},
        {"x = zeros(1, 3); x(end+1) = 1; x(8) = 2;", "x", "double 1x8: 0 0 0 1 0 0 0 2"},
        {"x = 1:3; y = x; for k = 4:6, y(end+1) = k; end", "x", "double 1x3: 1 2 3"},
        {"x = 1:3; y = x; for k = 4:6, y(end+1) = k; end", "y", "double 1x6: 1 2 3 4 5 6"},
        {"c = [1; 2]; c(end+1) = 3;", "c", "double 3x1: 1 2 3"},
        {"s = 'ab'; s(end+1) = 'c'; s(end+1) = 'd';", "s", "char 1x4: 'abcd'"},
        {"z = [1i 2]; z(end+1) = 3;", "z", "double 1x3: 0+1i 2+0i 3+0i"},
        {"m = [1 2; 3 4]; m(:, end+1) = [5; 6];", "m", "double 2x3: 1 3 2 4 5 6"},
        {"b = true; b(end+1) = false; b(end+1) = true;", "b", "logical 1x3: 1 0 1"},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.statements);
        ASSERT_EQ(errorOf(row.statements), "");
        EXPECT_EQ(describe(row.name), row.value);
    }
}
