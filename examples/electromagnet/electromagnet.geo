// Planar C-core electromagnet with an air gap, in an air box.  Metres.
// Physical surfaces: 1 iron, 2 coil side carrying +J, 3 coil side carrying -J, 4 air, 5 air of the gap.
// Physical curve 10: outer boundary, A = 0.
// One size parameter lc: mesh size at the core; lc/5 at the gap, 5 lc at the box.
DefineConstant[ lc = {0.0059, Name "lc"} ];
lg = lc/5; lk = lc; lb = 5*lc;
h = 0.0025;                     // half the gap
Point(1) = {-0.10,-0.10,0,lk};  Point(2) = { 0.10,-0.10,0,lk};
Point(3) = { 0.10,-h,0,lg};     Point(4) = { 0.06,-h,0,lg};
Point(5) = { 0.06,-0.06,0,lk};  Point(6) = {-0.06,-0.06,0,lk};
Point(7) = {-0.06, 0.06,0,lk};  Point(8) = { 0.06, 0.06,0,lk};
Point(9) = { 0.06, h,0,lg};     Point(10)= { 0.10, h,0,lg};
Point(11)= { 0.10, 0.10,0,lk};  Point(12)= {-0.10, 0.10,0,lk};
For i In {1:11}
  Line(i) = {i, i+1};
EndFor
Line(12) = {12, 1};
Curve Loop(1) = {1:12};
Plane Surface(1) = {1};
// sides of the gap: the window's (13) and the outer one (14)
Line(13) = {4, 9};
Line(14) = {3, 10};
Curve Loop(5) = {-3, 14, -9, -13};
Plane Surface(5) = {5};
// coil side in the window, +J
Point(21) = {-0.058,-0.05,0,lk}; Point(22) = {-0.030,-0.05,0,lk};
Point(23) = {-0.030, 0.05,0,lk}; Point(24) = {-0.058, 0.05,0,lk};
Line(21) = {21,22}; Line(22) = {22,23}; Line(23) = {23,24}; Line(24) = {24,21};
Curve Loop(2) = {21:24};
Plane Surface(2) = {2};
// coil side outside the core, -J
Point(31) = {-0.130,-0.05,0,lk}; Point(32) = {-0.102,-0.05,0,lk};
Point(33) = {-0.102, 0.05,0,lk}; Point(34) = {-0.130, 0.05,0,lk};
Line(31) = {31,32}; Line(32) = {32,33}; Line(33) = {33,34}; Line(34) = {34,31};
Curve Loop(3) = {31:34};
Plane Surface(3) = {3};
// air of the window, and air around the core
Curve Loop(6) = {4:8, -13};
Plane Surface(6) = {6, 2};
Point(41) = {-0.3,-0.3,0,lb}; Point(42) = {0.3,-0.3,0,lb};
Point(43) = { 0.3, 0.3,0,lb}; Point(44) = {-0.3, 0.3,0,lb};
Line(41) = {41,42}; Line(42) = {42,43}; Line(43) = {43,44}; Line(44) = {44,41};
Curve Loop(4) = {41:44};
Curve Loop(7) = {1, 2, 14, 10, 11, 12};
Plane Surface(4) = {4, 7, 3};
Physical Surface("iron", 1) = {1};
Physical Surface("coil_plus", 2) = {2};
Physical Surface("coil_minus", 3) = {3};
Physical Surface("air", 4) = {4, 6};
Physical Surface("gap", 5) = {5};
Physical Curve("outer", 10) = {41:44};
