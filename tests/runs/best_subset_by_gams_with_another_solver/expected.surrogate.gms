$offdigit
$offsymxref offsymlist
set i /1*3/;
set j /1*2/;
parameters z(i), xij(i,j), screened(j), dismiss(i) ;
dismiss(i) = 0;
parameters betalo(j), betaup(j) ;
z('1') = 2;
z('2') = 4;
z('3') = 9;
xij('1', '1') = 0.42857142857142855;
xij('1', '2') = 1;
xij('2', '1') = 0.8571428571428571;
xij('2', '2') = 1;
xij('3', '1') = 1.7142857142857142;
xij('3', '2') = 1;
screened('1') = 1;
betalo('1') = -7.500000000000005;
betaup('1') = 7.500000000000005;
screened('2') = 1;
betalo('2') = -7.500000000000005;
betaup('2') = 7.500000000000005;
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
 / 1 + 1.0986122886681098 * sum(j $(screened(j)), y(j)) ;
model ssemip /all/;
option optca = 0.05000000074505806 ;
option optcr = 9.999999747378752e-05 ;
option limrow=0 ;
option limcol=0 ;
option solprint=off ;
option reslim =<t> ;
option miqcp=other ;
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
