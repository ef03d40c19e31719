$offdigit
$offsymxref offsymlist
set i /1*6/;
set j /1*5/;
parameters z(i), xij(i,j), screened(j), dismiss(i) ;
dismiss(i) = 0;
parameters betalo(j), betaup(j) ;
set i2   /1*4/;
set d   /1*2/;
 set i2lo /1,4/;
parameters crxij(i2,j), 
crxdata(i2, d), zmin, zmax;
zmin=-1;
crxij('1', '1') = 1;
crxij('1', '2') = 0;
crxij('1', '4') = 0.3333333333333333;
crxij('1', '5') = 0;
crxij('4', '1') = 1;
crxij('4', '2') = -2;
crxij('4', '4') = 1.3333333333333333;
crxij('4', '5') = -6;
z('1') = 0.625;
z('2') = 0.000125;
z('3') = -0.375;
z('4') = 1.75;
z('5') = 3;
z('6') = 0.00025;
dismiss('4') = 1;
xij('1', '1') = 1;
xij('1', '2') = 0.3333333333333333;
xij('1', '4') = 1.3333333333333333;
xij('1', '5') = 1;
xij('2', '1') = 1;
xij('2', '2') = -0.8333333333333334;
xij('2', '4') = 0.5;
xij('2', '5') = -0.375;
xij('3', '1') = 1;
xij('3', '2') = 1.3333333333333333;
xij('3', '4') = -0.16666666666666666;
xij('3', '5') = -0.5;
xij('4', '1') = 1;
xij('4', '2') = 2.3333333333333335;
xij('4', '4') = 0.8333333333333334;
xij('4', '5') = 4;
xij('5', '1') = 1;
xij('5', '2') = 0;
xij('5', '4') = 3.333333333333333e+19;
xij('5', '5') = 0;
xij('6', '1') = 1;
xij('6', '2') = 6.6666666666666675e-06;
xij('6', '4') = 1;
xij('6', '5') = 0.16666666666666666;
screened('1') = 1;
betalo('1') = -100;
betaup('1') = 100;
screened('2') = 1;
betalo('2') = -150;
betaup('2') = 150;
screened('3') = 0;
screened('4') = 1;
betalo('4') = -300;
betaup('4') = 300;
screened('5') = 1;
betalo('5') = -200;
betaup('5') = 200;
binary variables y(j);
variables beta(j), sseplus;
beta.lo(j)=betalo(j);
beta.up(j)=betaup(j);
equations eq1;
equations eq2, eq3, obj;
equations conreglo(i2);
conreglo(i2)$(i2lo(i2)).. sum(j$screened(j),crxij(i2,j)*beta(j)) =G= zmin;
eq1 .. sum(j $(screened(j)), y(j)) =l= 2;
eq2(j) $(screened(j)) .. betalo(j)*y(j) =l= beta(j);
eq3(j) $(screened(j)) .. beta(j) =l= betaup(j)*y(j);
obj .. sseplus =e= 
sum(i $ (dismiss(i) < 0.5), 
power(z(i)-sum(j $(screened(j)),xij(i,j)*beta(j)),2))
 / 1 + 1.791759469228055 * sum(j $(screened(j)), y(j)) ;
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
