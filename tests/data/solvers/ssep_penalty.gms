$offdigit
$offsymxref offsymlist
set i /1*6/;
set j /1*5/;
parameters z(i), xij(i,j), screened(j), dismiss(i) ;
dismiss(i) = 0;
parameters betalo(j), betaup(j) ;
z('1') = 2.5;
z('2') = 0.0005;
z('3') = -1.5;
z('4') = 7;
z('5') = 12;
z('6') = 0.001;
dismiss('4') = 1;
xij('1', '1') = 1;
xij('1', '2') = 0.5;
xij('1', '4') = 4;
xij('1', '5') = 2;
xij('2', '1') = 1;
xij('2', '2') = -1.25;
xij('2', '4') = 1.5;
xij('2', '5') = -0.75;
xij('3', '1') = 1;
xij('3', '2') = 2;
xij('3', '4') = -0.5;
xij('3', '5') = -1;
xij('4', '1') = 1;
xij('4', '2') = 3.5;
xij('4', '4') = 2.5;
xij('4', '5') = 8;
xij('5', '1') = 1;
xij('5', '2') = 0;
xij('5', '4') = 1e+20;
xij('5', '5') = 0;
xij('6', '1') = 1;
xij('6', '2') = 1e-05;
xij('6', '4') = 3;
xij('6', '5') = 0.3333333333333333;
screened('1') = 1;
betalo('1') = -100;
betaup('1') = 100;
screened('2') = 1;
betalo('2') = -100;
betaup('2') = 100;
screened('3') = 0;
screened('4') = 1;
betalo('4') = -125.5;
betaup('4') = 125.5;
screened('5') = 1;
betalo('5') = -100;
betaup('5') = 100;
binary variables y(j);
variables beta(j), sseplus;
beta.lo(j)=betalo(j);
beta.up(j)=betaup(j);
equations eq1;
equations eq2, eq3, obj;
eq1 .. sum(j $(screened(j)), y(j)) =l= 2;
eq2(j) $(screened(j)) .. betalo(j)*y(j) =l= beta(j);
eq3(j) $(screened(j)) .. beta(j) =l= betaup(j)*y(j);
obj .. sseplus =e= 
sum(i $ (dismiss(i) < 0.5), 
power(z(i)-sum(j $(screened(j)),xij(i,j)*beta(j)),2))
 / 1 + 0.5 * sum(j $(screened(j)), y(j)) ;
model ssemip /all/;
option optca = 0.05 ;
option optcr = 0.0001 ;
option limrow=0 ;
option limcol=0 ;
option solprint=off ;
option reslim =990.5 ;
$onecho > mirak.opt
AbsIntFeasTol 1e-12
RelIntFeasTol 0
$offecho
ssemip.optfile = 1;
option miqcp=mirak ;
solve ssemip minimizing sseplus using miqcp;
file res;
put res;
res.pc=4;
put ssemip.modelstat:3:0 / ;
put sseplus.l / ;
loop(j,
put y.l(j):1:0, beta.l(j) /;
);
putclose res;
