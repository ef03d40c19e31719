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
screened('1') = 0;
screened('2') = 0;
screened('3') = 0;
screened('4') = 0;
screened('5') = 0;
binary variables y(j);
variables beta(j), sseplus;
beta.lo(j)=betalo(j);
beta.up(j)=betaup(j);
equations eq2, eq3, obj;
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
