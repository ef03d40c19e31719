$offdigit
$offsymxref offsymlist
set i /1*4/;
set j /1*3/;
parameters z(i), xij(i,j), screened(j), dismiss(i) ;
dismiss(i) = 0;
parameters betalo(j), betaup(j) ;
z('1') = 3;
z('2') = 5;
z('3') = 3;
z('4') = 8;
xij('1', '1') = 0.5714285714285714;
xij('1', '2') = 0.6666666666666666;
xij('1', '3') = 1;
xij('2', '1') = 1.1428571428571428;
xij('2', '2') = 0.6666666666666666;
xij('2', '3') = 1;
xij('3', '1') = 0.5714285714285714;
xij('3', '2') = 1.3333333333333333;
xij('3', '3') = 1;
xij('4', '1') = 1.7142857142857142;
xij('4', '2') = 1.3333333333333333;
xij('4', '3') = 1;
screened('1') = 1;
betalo('1') = -5.9375;
betaup('1') = 5.9375;
screened('2') = 1;
betalo('2') = -5.9375;
betaup('2') = 5.9375;
screened('3') = 1;
betalo('3') = -5.9375;
betaup('3') = 5.9375;
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
 / 1 + 1.3862943611198906 * sum(j $(screened(j)), y(j)) ;
model ssemip /all/;
option optca = 0.05000000074505806 ;
option optcr = 9.999999747378752e-05 ;
option limrow=0 ;
option limcol=0 ;
option solprint=off ;
option reslim =<t> ;
$onecho > mirak.opt
secret maxiphdives: -1
deltaTerm 1
deltaT 5
deltaA 0.1
deltaR 0.1
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
