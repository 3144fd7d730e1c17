// Axisymmetric solenoid with an iron plunger, in an air box.  x is r, y is z, metres.  Second order.
// Physical surfaces: 1 plunger, 2 coil, 3 air.  Physical curve 10: axis and outer boundary, Atheta = 0.
// The coil is meshed with 8-node quadrilaterals, all else with 6-node triangles, curved ones at the plunger's rounded edge.
// One size parameter lc: lc/2 at the plunger's ends, lc at the coil, 5 lc at the box.
DefineConstant[ lc = {0.0046, Name "lc"} ];
lk = lc; lb = 5*lc; ln = lc/2;
a = 0.020;                      // plunger radius
f = 0.004;                      // radius of the rounded edge of its nose
zn = -0.010; zt = 0.090;        // nose and tail
Point(1) = {0,-0.2,0,lb};  Point(2) = {0.2,-0.2,0,lb};
Point(3) = {0.2,0.2,0,lb}; Point(4) = {0,0.2,0,lb};
Point(5) = {0,zt,0,lk};    Point(6) = {0,zn,0,ln};
Point(7) = {a-f,zn,0,ln};  Point(8) = {a-f,zn+f,0,ln};
Point(9) = {a,zn+f,0,ln};  Point(10) = {a,zt,0,ln};
Line(1) = {1,2}; Line(2) = {2,3}; Line(3) = {3,4}; Line(4) = {4,5};
Line(5) = {5,6}; Line(6) = {6,1};
Line(7) = {6,7}; Circle(8) = {7,8,9}; Line(9) = {9,10}; Line(10) = {10,5};
Curve Loop(1) = {7,8,9,10,5};
Plane Surface(1) = {1};
// coil, structured
Point(21) = {0.025,-0.05,0,lk}; Point(22) = {0.040,-0.05,0,lk};
Point(23) = {0.040, 0.05,0,lk}; Point(24) = {0.025, 0.05,0,lk};
Line(21) = {21,22}; Line(22) = {22,23}; Line(23) = {23,24}; Line(24) = {24,21};
nr = Ceil(0.015/lc); nz = Ceil(0.1/lc);
Transfinite Curve {21,23} = nr+1;
Transfinite Curve {22,24} = nz+1;
Curve Loop(2) = {21:24};
Plane Surface(2) = {2};
Transfinite Surface {2};
Recombine Surface {2};
Curve Loop(3) = {1,2,3,4,-10,-9,-8,-7,6};
Plane Surface(3) = {3, 2};
Physical Surface("plunger", 1) = {1};
Physical Surface("coil", 2) = {2};
Physical Surface("air", 3) = {3};
Physical Curve("zero", 10) = {1:6};
Mesh.ElementOrder = 2;
Mesh.SecondOrderIncomplete = 1;
Mesh.HighOrderOptimize = 0;
