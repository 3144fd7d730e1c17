// One pole pitch of a Halbach array of permanent magnets on a plate of rolled steel, under air.  Metres.
// Physical surfaces: 1 plate, 2 to 5 the magnet blocks from left to right, 6 air.
// Physical curves: 10 bottom and top, A = 0; 11 left side, 12 right side, anti-periodic.
// Plate, magnets and the air next to them are meshed with 4-node quadrilaterals, the air above with triangles.
// One size parameter lc: a block is 10 mm wide and 10 mm / lc elements wide.
DefineConstant[ lc = {0.000625, Name "lc"} ];
lt = 6*lc;                      // mesh size at the top
w = 0.010;                      // width of a block; the pole pitch is 4 w
y1 = 0.012; y2 = 0.020; y3 = 0.028; y4 = 0.080;
n = Ceil(w/lc - 1e-6);
For i In {0:4}
  Point(1+i)  = {i*w,0,0,lc};
  Point(11+i) = {i*w,y1,0,lc};
  Point(21+i) = {i*w,y2,0,lc};
  Point(31+i) = {i*w,y3,0,lc};
EndFor
Point(41) = {0,y4,0,lt}; Point(42) = {4*w,y4,0,lt};
For i In {0:3}
  Line(1+i)  = {1+i,2+i};
  Line(11+i) = {11+i,12+i};
  Line(21+i) = {21+i,22+i};
  Line(31+i) = {31+i,32+i};
EndFor
For i In {0:4}
  Line(41+i) = {1+i,11+i};      // uprights of the plate
  Line(51+i) = {11+i,21+i};     // uprights of the magnets
  Line(61+i) = {21+i,31+i};     // uprights of the air next to them
EndFor
Line(71) = {31,41}; Line(72) = {35,42}; Line(73) = {41,42};
Transfinite Curve {1:4, 11:14, 21:24, 31:34} = n+1;
Transfinite Curve {41:45} = Ceil(y1/lc - 1e-6)+1 Using Progression 0.97;
Transfinite Curve {51:55} = Ceil((y2-y1)/lc - 1e-6)+1;
Transfinite Curve {61:65} = Ceil((y3-y2)/lc - 1e-6)+1;
For i In {0:3}
  Curve Loop(1+i) = {1+i, 42+i, -(11+i), -(41+i)};
  Plane Surface(1+i) = {1+i};
  Curve Loop(11+i) = {11+i, 52+i, -(21+i), -(51+i)};
  Plane Surface(11+i) = {11+i};
  Curve Loop(21+i) = {21+i, 62+i, -(31+i), -(61+i)};
  Plane Surface(21+i) = {21+i};
EndFor
Transfinite Surface {1:4, 11:14, 21:24};
Recombine Surface {1:4, 11:14, 21:24};
Curve Loop(31) = {31:34, 72, -73, -71};
Plane Surface(31) = {31};
Periodic Curve {72} = {71} Translate {4*w,0,0};
Physical Surface("plate", 1) = {1:4};
Physical Surface("block_1", 2) = {11};
Physical Surface("block_2", 3) = {12};
Physical Surface("block_3", 4) = {13};
Physical Surface("block_4", 5) = {14};
Physical Surface("air", 6) = {21:24, 31};
Physical Curve("zero", 10) = {1:4, 73};
Physical Curve("left", 11) = {41, 51, 61, 71};
Physical Curve("right", 12) = {45, 55, 65, 72};
