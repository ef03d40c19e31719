$offdigit
$offsymxref offsymlist
set i /1*5/;
set j /1*2/;
parameters z(i), xij(i,j), screened(j), dismiss(i) ;
dismiss(i) = 0;
parameters betalo(j), betaup(j) ;
z('1') = 1;
z('2') = 3;
z('3') = 5;
z('4') = 7;
z('5') = 9;
xij('1', '1') = 0;
xij('1', '2') = 1;
xij('2', '1') = 0.5;
xij('2', '2') = 1;
xij('3', '1') = 1;
xij('3', '2') = 1;
xij('4', '1') = 1.5;
xij('4', '2') = 1;
xij('5', '1') = 2;
xij('5', '2') = 1;
screened('1') = 1;
betalo('1') = -6.249999999999999;
betaup('1') = 6.249999999999999;
screened('2') = 1;
betalo('2') = -6.249999999999999;
betaup('2') = 6.249999999999999;
binary variables y(j);
variables beta(j), sseplus;
beta.lo(j)=betalo(j);
beta.up(j)=betaup(j);
equations eq2, eq3, obj;
eq2(j) $(screened(j)) .. betalo(j)*y(j) =l= beta(j);
eq3(j) $(screened(j)) .. beta(j) =l= betaup(j)*y(j);
obj .. sseplus =e= 
1.6094379124341003 * sum(j $(screened(j)), y(j)) ;
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
