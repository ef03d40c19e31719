$offdigit
$offsymxref offsymlist
$ONTEXT
Chosen basis functions:
  j = 1,  basis: 1
  j = 2,  basis: x
  j = 4,  basis: y
  j = 5,  basis: x*y
$OFFTEXT
set i /1*6/;
set j /1*5/;
parameters z(i), xij(i,j), chosen(j) ;
z('1') = 2.5;
xij('1', '1') = 1;
xij('1', '2') = 0.5;
xij('1', '4') = 4;
xij('1', '5') = 2;
z('2') = 0.0005;
xij('2', '1') = 1;
xij('2', '2') = -1.25;
xij('2', '4') = 1.5;
xij('2', '5') = -0.75;
z('3') = -1.5;
xij('3', '1') = 1;
xij('3', '2') = 2;
xij('3', '4') = -0.5;
xij('3', '5') = -1;
z('5') = 12;
xij('5', '1') = 1;
xij('5', '2') = 0;
xij('5', '4') = 1e+20;
xij('5', '5') = 0;
z('6') = 0.001;
xij('6', '1') = 1;
xij('6', '2') = 1e-05;
xij('6', '4') = 3;
xij('6', '5') = 0.3333333333333333;
chosen('1') = 1;
chosen('2') = 1;
chosen('3') = 0;
chosen('4') = 1;
chosen('5') = 1;
variables beta(j), sse;
equation obj;
obj .. sse =e=  sum(i, ( power ( sum(j $(chosen(j)), xij(i,j)*beta(j)) - z(i), 2) ) ) ;
model olrnlp /all/;
option optca = 0.05 ;
option optcr = 0.0001 ;
option limrow=0 ;
option limcol=0 ;
option nlp=mirak ;
solve olrnlp minimizing sse using nlp;
file res;
put res;
res.pc=4;
put olrnlp.modelstat:3:0 / ;
put sse.l / ;
loop(j,
put chosen(j):1:0, beta.l(j) /;
);
putclose res;
