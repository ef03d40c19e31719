$offdigit
$offsymxref offsymlist
set i /1*5/;
set j /1*2/;
parameters z(i), xij(i,j), screened(j), dismiss(i) ;
dismiss(i) = 0;
parameters betalo(j), betaup(j) ;
z('1') = 0.001;
z('2') = -0.001;
z('3') = 0.00101;
z('4') = -0.00101;
z('5') = 2;
xij('1', '1') = 0.3333333333333333;
xij('1', '2') = 1;
xij('2', '1') = 0.6666666666666666;
xij('2', '2') = 1;
xij('3', '1') = 1;
xij('3', '2') = 1;
xij('4', '1') = 1.3333333333333333;
xij('4', '2') = 1;
xij('5', '1') = 1.6666666666666667;
xij('5', '2') = 1;
screened('1') = 1;
betalo('1') = -2.4984925;
betaup('1') = 2.4984925;
screened('2') = 1;
betalo('2') = -2.4984925;
betaup('2') = 2.4984925;
binary variables y(j);
variables beta(j), sseplus;
positive variable mad;
beta.lo(j)=betalo(j);
beta.up(j)=betaup(j);
equations eq2, eq3, obj;
equations erra1, erra2, errb1, errb2;
eq2(j) $(screened(j)) .. betalo(j)*y(j) =l= beta(j);
eq3(j) $(screened(j)) .. beta(j) =l= betaup(j)*y(j);
obj .. sseplus =e= 
 mad  + 1 * sum(j $(screened(j)), y(j)) ;
erra1(i) $(dismiss(i) < 0.5 and abs(z(i)) > 1e-3) .. 
(z(i)-sum(j $(screened(j)),xij(i,j)*beta(j)))/abs(z(i))
 * 100 =L= mad ;
erra2(i) $(dismiss(i) < 0.5 and abs(z(i)) <= 1e-3) .. 
z(i)-sum(j $(screened(j)),xij(i,j)*beta(j)) =L= mad ;
errb1(i) $(dismiss(i) < 0.5 and abs(z(i)) > 1e-3) .. 
(-z(i)+sum(j$(screened(j)),xij(i,j)*beta(j)))/abs(z(i))
 *100 =L= mad;
errb2(i) $(dismiss(i) < 0.5 and abs(z(i)) <= 1e-3) .. 
-z(i)+sum(j $(screened(j)),xij(i,j)*beta(j)) =L= mad;
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
option mip=mirak ;
solve ssemip minimizing sseplus using mip;
file res;
put res;
res.pc=4;
put ssemip.modelstat:3:0 / ;
put sseplus.l / ;
loop(j,
put y.l(j):1:0, beta.l(j) /;
);
putclose res;
